#ifdef _WIN32
#include <windows.h>
#endif
#include <QvPlatform/QvPluginSystem/LoadSharedLibrary.h>
#include <QvPlatform/diagnostics/CallStackViewer.h>
#include <QvPlatform/system/Process.h>

#include "support/ChildProgram.h"
#include "support/VariableChange.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <mutex>
#include <regex>

#ifndef _WIN32
#include <sys/wait.h>
#include <ucontext.h>
#include <unistd.h>

#include <csignal>
#endif

// The functions that must be found on a stack: never inlined, never left by a jump, and with a name that the
// linker knows.
#define ON_STACK [[gnu::noinline]]

// A thread sanitizer puts signals off until a blocked thread goes on, and does not like memory being
// allocated in a signal handler, which a crash report must.
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
using support::kWindows;

struct Walk {
    bool reachedEnd;
    std::string text;
};

Walk walkOwn() {
    CallStackViewer viewer(QvSim::Process::getProcessID(), nullptr);
    const bool reachedEnd = viewer.getCallstack(nullptr, nullptr);
    return {reachedEnd, viewer.getOutput()};
}

std::ptrdiff_t countOf(const std::string& text, const std::string& part) {
    std::ptrdiff_t count = 0;
    for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
    return count;
}

volatile int sink = 0;

}  // namespace

ON_STACK int descendAndWalk(int levels, Walk& walk) {
    if (levels == 0) {
        walk = walkOwn();
        return sink;
    }
    const int result = descendAndWalk(levels - 1, walk) + 1;
    sink = result;
    return result;
}

namespace {

TEST(CallStackViewer, showsTheOwnThread) {
    Walk walk;
    const int line = __LINE__ + 1;
    descendAndWalk(50, walk);
    EXPECT_TRUE(walk.reachedEnd) << walk.text;
    EXPECT_EQ(countOf(walk.text, "descendAndWalk"), 51) << walk.text;
    EXPECT_EQ(countOf(walk.text, "getCallstack"), 0) << walk.text;
    if (!kWindows) {
        EXPECT_EQ(countOf(walk.text, "CallStackViewerTest.cpp ("), 53) << walk.text;
        EXPECT_EQ(countOf(walk.text, "): descendAndWalk(int, "), 51) << walk.text;
        EXPECT_GE(countOf(walk.text, "StackViewerTest.cpp (" + std::to_string(line) + "): "), 1);
    }
}

TEST(CallStackViewer, endsARunawayRecursion) {
    Walk walk;
    descendAndWalk(3000, walk);
    EXPECT_FALSE(walk.reachedEnd);
    EXPECT_EQ(countOf(walk.text, "ERROR: StackWalk64-Endless-Callstack!, GetLastError: 0 (Address: 0x"), 1);
    EXPECT_LT(std::count(walk.text.begin(), walk.text.end(), '\n'), 3000);
}

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

/// A thread at work, and how it is named to a viewer.
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
    // Wherever the thread is interrupted, its stack is one; a few times, for different places.
    for (int i = 0; i < 5; ++i) {
        EXPECT_TRUE(viewer.getCallstack(worker.handle(), nullptr)) << viewer.getOutput();
        EXPECT_EQ(countOf(viewer.getOutput(), function), 1) << viewer.getOutput();
    }
    EXPECT_TRUE(viewer.getCallstackOfThread(worker.id(), nullptr)) << viewer.getOutput();
    EXPECT_EQ(countOf(viewer.getOutput(), function), 1) << viewer.getOutput();
    const auto ids = CallStackViewer::getThreadIds(QvSim::Process::getProcessID());
    EXPECT_EQ(std::count(ids.begin(), ids.end(), worker.id()), 1);
}

TEST(CallStackViewer, showsOtherThreadsWhateverTheyDo) {
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
TEST(CallStackViewer, givesUpOnAThreadThatHoldsSignalsBack) {
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

Walk handlersWalk;

void walkInterrupted(int, siginfo_t*, void* context) {
    CallStackViewer viewer(QvSim::Process::getProcessID(), nullptr);
    handlersWalk.reachedEnd = viewer.getCallstack(nullptr, static_cast<const CONTEXT*>(context));
    handlersWalk.text = viewer.getOutput();
}

TEST(CallStackViewer, worksWithoutTheSymbolLibrary) {
    const support::VariableChange change("QV_LIBDW", "/nowhere/libdw.so");
    static Walk walk;
    const int numbers[] = {1};
    const int wanted = 1;
    std::bsearch(&wanted, numbers, 1, sizeof(int), [](const void*, const void*) {
        walk = walkOwn();
        return 0;
    });
    EXPECT_TRUE(walk.reachedEnd);
    const std::regex unnamed(
        R"(0x[0-9a-f]+ \(callStackTest\+0x[0-9a-f]+\): \(filename not available\): \(func)");
    const std::regex named(
        R"(0x[0-9a-f]+ \(libc\.so\.6\+0x[0-9a-f]+\): \(filename not available\): __libc_start_main\n)");
    EXPECT_TRUE(std::regex_search(walk.text, unnamed)) << walk.text;
    EXPECT_TRUE(std::regex_search(walk.text, named)) << walk.text;
    CallStackViewer other(1, nullptr);
    EXPECT_FALSE(other.getCallstack(nullptr, nullptr));
    EXPECT_EQ(countOf(other.getOutput(), "Failed to load dll.\n"), 1);
}
#endif

}  // namespace

#ifdef _WIN32
ON_STACK Walk takeContext() {
    CONTEXT context{};
    RtlCaptureContext(&context);
    CallStackViewer viewer(GetCurrentProcessId(), GetCurrentProcess());
    const bool reachedEnd = viewer.getCallstack(nullptr, &context);
    return {reachedEnd, viewer.getOutput()};
}
#else
ON_STACK Walk takeContext() {
    struct sigaction action {};
    struct sigaction before {};
    action.sa_sigaction = walkInterrupted;
    action.sa_flags = SA_SIGINFO;
    sigaction(SIGUSR1, &action, &before);
    raise(SIGUSR1);
    sigaction(SIGUSR1, &before, nullptr);
    return handlersWalk;
}
#endif

namespace {

TEST(CallStackViewer, beginsAtAContext) {
    const Walk walk = takeContext();
    EXPECT_TRUE(walk.reachedEnd) << walk.text;
    EXPECT_EQ(countOf(walk.text, "takeContext"), 1) << walk.text;
    EXPECT_EQ(countOf(walk.text, "walkInterrupted"), 0) << walk.text;
}

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

TEST(CallStackViewer, showsAnotherProcess) {
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

TEST(CallStackViewer, namesLibrariesThatWereLoadedSinceTheLastWalk) {
    static CallStackViewer viewer(QvSim::Process::getProcessID(), nullptr);
    viewer.getCallstack(nullptr, nullptr);
    for (int round = 0; round < 2; ++round) {
        const QvPlatform::Directory programs(QvPlatform::Directory::kExecutableDirectory);
        const QvPluginSystem::LoadSharedLibrary library(programs.toUniversalPath() +
                                                        "test-plugins/calling.qvp");
        ASSERT_TRUE(library.handle);
        void* const symbol = QvPluginSystem::getSymbolAddress(library.handle, "callBack");
        const auto callBack = reinterpret_cast<int (*)(int (*)())>(symbol);
        ASSERT_TRUE(callBack);
        EXPECT_EQ(callBack([] { return viewer.getCallstack(nullptr, nullptr) ? 1 : 0; }), 2);
        EXPECT_EQ(countOf(viewer.getOutput(), ": callBack"), 1) << viewer.getOutput();
        EXPECT_TRUE(kWindows || countOf(viewer.getOutput(), "CallingPlugin.cpp (7)") == 1);
    }
}

TEST(CallStackViewer, whatIsNotThereIsAnErrorLine) {
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
