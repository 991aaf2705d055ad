#ifdef _WIN32
#include <windows.h>
#endif
#include "CallStacks.h"
#include "support/ChildProgram.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <mutex>
#include <thread>

#ifndef _WIN32
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#endif

// A thread sanitizer delays signals while a thread is blocked, and reports memory allocation in signal
// handlers, which a crash report needs.
#ifdef __SANITIZE_THREAD__
constexpr bool kDelaysSignals = true;
extern "C" [[gnu::visibility("default")]] const char* __tsan_default_options() {
    return "report_signal_unsafe=0";
}
#else
constexpr bool kDelaysSignals = false;
#endif

namespace {

using QvPlatform::CallStackViewer;
using support::countOf;
using support::kWindows;

volatile int sink = 0;

std::atomic<bool> mayEnd;
std::mutex barrier;

}  // namespace

// The clock is read because a thread sanitizer delivers signals only at such calls.
ON_STACK void spinAround() {
    while (!mayEnd) sink = static_cast<int>(std::chrono::steady_clock::now().time_since_epoch().count());
    sink = 1;
}

ON_STACK void waitForBarrier() {
    barrier.lock();
    barrier.unlock();
    sink = 1;
}

#ifndef _WIN32
// Two functions, so that no frame repeats its caller's address.
ON_STACK void descendByTwo(int levels);
ON_STACK void descendByOne(int levels) {
    descendByTwo(levels - 1);
    sink = levels;
}
ON_STACK void descendByTwo(int levels) {
    if (levels > 0)
        descendByOne(levels - 1);
    else
        spinAround();
    sink = levels;
}

int channel[2] = {};
ON_STACK void readChannel() {
    char byte = 0;
    EXPECT_EQ(read(channel[0], &byte, 1), 1);
    sink = byte;
}
ON_STACK void holdSignalsBack() {
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    while (!mayEnd) std::this_thread::yield();
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    mayEnd = false;
    spinAround();
}
#endif

namespace {

/// A running thread, and its identification for a viewer.
class Worker {
public:
    explicit Worker(void (*work)()) {
        mayEnd = false;
        thread_ = std::thread([this, work] {
            id_ = CallStackViewer::getCurrentThreadId();
            work();
        });
        EXPECT_TRUE(support::comesTrue([this] { return id_ != 0; }));
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    ~Worker() {
        mayEnd = true;
        if (thread_.joinable()) thread_.join();
    }
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;

    void* handle() {
#ifdef _WIN32
        return pthread_gethandle(thread_.native_handle());
#else
        return reinterpret_cast<void*>(thread_.native_handle());
#endif
    }
    unsigned long id() const { return id_; }
    void join() { thread_.join(); }

private:
    std::atomic<unsigned long> id_{0};
    std::thread thread_;
};

void expectOnStack(Worker& worker, const std::string& function) {
    CallStackViewer viewer(QvSim::Process::getProcessID(), nullptr);
    // The stack must be complete wherever the thread is interrupted; repeated to hit different positions.
    for (int i = 0; i < 5; ++i) {
        EXPECT_TRUE(viewer.getCallstack(worker.handle(), nullptr)) << viewer.getOutput();
        EXPECT_EQ(countOf(viewer.getOutput(), function), 1) << viewer.getOutput();
    }
    EXPECT_TRUE(viewer.getCallstackOfThread(worker.id(), nullptr)) << viewer.getOutput();
    EXPECT_EQ(countOf(viewer.getOutput(), function), 1) << viewer.getOutput();
    const auto ids = CallStackViewer::getThreadIds(QvSim::Process::getProcessID());
    EXPECT_EQ(std::count(ids.begin(), ids.end(), worker.id()), 1);
}

TEST(ThreadStacks, showsOtherThreadsWhateverTheyDo) {
    {
        Worker worker(spinAround);
        expectOnStack(worker, "spinAround");
    }
    if (kDelaysSignals) return;
    {
        std::unique_lock lock(barrier);
        Worker worker(waitForBarrier);
        expectOnStack(worker, "waitForBarrier");
        lock.unlock();
    }
#ifndef _WIN32
    ASSERT_EQ(pipe(channel), 0);
    Worker worker(readChannel);
    expectOnStack(worker, "readChannel");
    EXPECT_EQ(write(channel[1], "x", 1), 1);
    worker.join();
    close(channel[0]);
    close(channel[1]);
#endif
}

#ifndef _WIN32
TEST(ThreadStacks, givesUpOnAThreadThatHoldsSignalsBack) {
    Worker worker(holdSignalsBack);
    CallStackViewer viewer(QvSim::Process::getProcessID(), nullptr);
    for (int i = 0; i < 2; ++i) {
        EXPECT_FALSE(viewer.getCallstack(worker.handle(), nullptr));
        EXPECT_EQ(viewer.getOutput(), "ERROR: StackWalk64, GetLastError: 110 (Address: 0x0)\n");
    }
    mayEnd = true;  // the late signals arrive
    ASSERT_TRUE(support::comesTrue([] { return !mayEnd; }));
    expectOnStack(worker, "spinAround");
}
#endif

#ifndef _WIN32
TEST(ThreadStacks, saysThatAStackWasCut) {
    const Worker worker([] { descendByTwo(6000); });
    CallStackViewer viewer(QvSim::Process::getProcessID(), nullptr);
    EXPECT_FALSE(viewer.getCallstackOfThread(worker.id(), nullptr));
    EXPECT_EQ(countOf(viewer.getOutput(), "spinAround"), 1);
    const std::string tooBig = "ERROR: StackWalk64, GetLastError: 7 (Address: 0x";
    EXPECT_EQ(countOf(viewer.getOutput(), tooBig), 1);
    EXPECT_EQ(countOf(viewer.getOutput(), tooBig + "0)"), 0);
}

TEST(ThreadStacks, takeOneSignal) {
    const auto taken = [] {
        int count = 0;
        for (int signal = SIGRTMIN; signal <= SIGRTMAX; ++signal) {
            struct sigaction action {};
            sigaction(signal, nullptr, &action);
            count += action.sa_handler != SIG_DFL ? 1 : 0;
        }
        return count;
    };
    Worker worker(spinAround);
    for (int i = 0; i < 3; ++i) expectOnStack(worker, "spinAround");
    EXPECT_EQ(taken(), 1);
}

// Its innermost frame is in code without unwind information.
TEST(ThreadStacks, saysThatAnotherProcessHasAnUnknownFrame) {
    const unsigned char loop[] = {0x31, 0xed, 0xf3, 0x90, 0xeb, 0xfc};  // no frame pointer; pause; again
    const pid_t process = fork();
    if (process == 0) {
        void* const code = mmap(nullptr, sizeof loop, PROT_READ | PROT_WRITE | PROT_EXEC,
                                MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        std::memcpy(code, loop, sizeof loop);
        reinterpret_cast<void (*)()>(code)();
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    CallStackViewer viewer(static_cast<unsigned long>(process), nullptr);
    const bool reachedEnd = viewer.getCallstack(nullptr, nullptr);
    ::kill(process, SIGKILL);
    waitpid(process, nullptr, 0);
    if (countOf(viewer.getOutput(), "GetLastError: 1 (") != 0)
        GTEST_SKIP() << "not permitted to trace processes";
    EXPECT_FALSE(reachedEnd);
    EXPECT_EQ(countOf(viewer.getOutput(), "ERROR: StackWalk64, GetLastError: 61 (Address: 0x"), 1)
        << viewer.getOutput();
}
#else
// It must not be suspended for its own walk.
TEST(ThreadStacks, knowsItselfByAHandleThatMayNotAsk) {
    HANDLE handle = nullptr;
    const HANDLE process = GetCurrentProcess();
    ASSERT_TRUE(DuplicateHandle(process, GetCurrentThread(), process, &handle,
                                THREAD_SUSPEND_RESUME | THREAD_GET_CONTEXT, FALSE, 0));
    CallStackViewer viewer(GetCurrentProcessId(), nullptr);
    EXPECT_TRUE(viewer.getCallstack(handle, nullptr)) << viewer.getOutput();
    CloseHandle(handle);
}
#endif

/// Another process that does nothing.
class SleepingProcess {
public:
    SleepingProcess() {
#ifdef _WIN32
        STARTUPINFOA startup{};
        startup.cb = sizeof startup;
        std::string line = support::childProgram() + " sleep 30000";
        CreateProcessA(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                       &process_);
#else
        id_ = fork();
        if (id_ == 0) {
            execl("/bin/sleep", "sleep", "30", nullptr);
            _exit(1);
        }
#endif
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
    }
    ~SleepingProcess() {
#ifdef _WIN32
        TerminateProcess(process_.hProcess, 0);
        CloseHandle(process_.hThread);
        CloseHandle(process_.hProcess);
#else
        ::kill(id_, SIGKILL);
        waitpid(id_, nullptr, 0);
#endif
    }
    SleepingProcess(const SleepingProcess&) = delete;
    SleepingProcess& operator=(const SleepingProcess&) = delete;

#ifdef _WIN32
    unsigned long id() const { return process_.dwProcessId; }

private:
    PROCESS_INFORMATION process_{};
#else
    unsigned long id() const { return static_cast<unsigned long>(id_); }

private:
    pid_t id_ = 0;
#endif
};

TEST(ThreadStacks, showsAnotherProcess) {
    const SleepingProcess process;
    CallStackViewer viewer(process.id(), nullptr);
    const bool reachedEnd = viewer.getCallstack(nullptr, nullptr);
    if (countOf(viewer.getOutput(), "GetLastError: 1 (") != 0)
        GTEST_SKIP() << "not permitted to trace processes";
    EXPECT_TRUE(reachedEnd);
    EXPECT_GE(countOf(viewer.getOutput(), "\n"), 3) << viewer.getOutput();
    if (!kWindows) {
        EXPECT_GE(countOf(viewer.getOutput(), "nanosleep"), 1) << viewer.getOutput();
        const auto ids = CallStackViewer::getThreadIds(process.id());
        ASSERT_EQ(ids.size(), 1U);
        EXPECT_TRUE(viewer.getCallstackOfThread(ids.front(), nullptr)) << viewer.getOutput();
    }
}

TEST(ThreadStacks, whatIsNotThereIsAnErrorLine) {
    EXPECT_TRUE(CallStackViewer::getThreadIds(0x7ffffff0).empty());
    CallStackViewer nobody(0x7ffffff0, nullptr);
    EXPECT_EQ(nobody.getOutput(), "");
    EXPECT_FALSE(nobody.getCallstack(nullptr, nullptr));
    EXPECT_EQ(countOf(nobody.getOutput(), "ERROR: StackWalk64, GetLastError: "), 1) << nobody.getOutput();

    CallStackViewer own(QvSim::Process::getProcessID(), nullptr);
    Worker worker([] {});
    void* const handle = worker.handle();
    worker.join();
    for (void* thread : {handle, reinterpret_cast<void*>(0x12340), reinterpret_cast<void*>(0x12341)}) {
        EXPECT_FALSE(own.getCallstack(thread, nullptr));
        EXPECT_EQ(countOf(own.getOutput(), "ERROR: StackWalk64, GetLastError: "), 1) << own.getOutput();
        EXPECT_EQ(countOf(own.getOutput(), "\n"), 1) << own.getOutput();
    }
    EXPECT_FALSE(own.getCallstackOfThread(0x7ffffff0, nullptr));
    EXPECT_TRUE(own.getCallstack(nullptr, nullptr));
}

}  // namespace
