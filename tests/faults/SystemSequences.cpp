// Processes, threads, shared memory, the log, and call stacks.

#include <QvPlatform/core/QvSmartPtr.h>
#include <QvPlatform/diagnostics/CallStackViewer.h>
#include <QvPlatform/diagnostics/Log.h>
#include <QvPlatform/diagnostics/LogFile.h>
#include <QvPlatform/system/Process.h>
#include <QvPlatform/threads/Mutex.h>
#include <QvPlatform/threads/QvThread.h>
#include <QvPlatform/threads/Semaphore.h>
#include <QvPlatform/threads/StepperThread.h>
#include <QvPlatform/threads/ThreadPool.h>
#include <QvPlatform/time/CycleTime.h>
#include <QvPlatform/time/QvTimer.h>
#include <QvPlatform/time/Timer.h>

#include "faults/Failures.h"
#include "faults/Faults.h"
#include "support/ChildProgram.h"
#include "support/SharedSegment.h"

#include <atomic>
#include <cstdint>
#include <limits>
#include <new>
#include <stdexcept>
#include <system_error>

namespace faults {
namespace {

namespace Process = QvSim::Process;

const char* const kLong = "longer than what a string holds itself";

void processes() {
    using support::kWindows;
    std::int64_t code = -7;
    const std::string shell = kWindows ? support::childProgram() : "/bin/sh";
    const bool ran = Process::shellExecute(shell, kWindows ? "exit 3" : "-c \"exit 3\"", false, true, &code);
    check(ran && code == 3, true);
    const std::string sleeper = kWindows ? support::childProgram() + " sleep" : "/bin/sleep";
    Process::ProcessHandle* child = Process::execute(sleeper, kWindows ? "1000" : "20");
    check(child, !child);
    Process::kill(child);
    Process::destroyProcessHandle(child);
    check(!Process::shellExecute("/absent/program/with/some/length", "", false, true, nullptr));
    check(!Process::getHostName().empty() && !Process::getProcessFileName().empty(), true);
    check(Process::getProcessMemoryInfo().workingSetSize > 0, true);
    check(Process::getFreeDiskSpaceMB(folder().c_str()) < std::numeric_limits<double>::max(), true);
    check(Process::getLocalTimeUTCBias() == Process::getLocalTimeUTCBias(), true);
    try {
        check(!Process::getHostNameProcessID().empty(), true);
    } catch (const std::runtime_error&) {
        check(false, true);  // from logging an error
    }
}

// On Windows a child that could not be ended ends soon.
void verifyProcesses() {
    check(support::comesTrue([] { return !hasChildren(); }));
}

class Steps : public QvPlatform::StepperThread {
public:
    ~Steps() override { stop(); }

protected:
    bool step() override { return ++count_ < 3; }

private:
    int count_ = 0;
};

std::atomic<bool> wasRun;

void threads() {
    try {
        wasRun = false;
        Qv::QvThreadCreate([](void*) { return wasRun = true, 0U; }, nullptr);
        while (!wasRun) Qv::QvThreadSleep(0);
        Steps steps;
        check(steps.start());
        steps.join();
    } catch (const std::system_error&) {
        check(false, true);
    }
    Qv::QvMutex* const mutex = Qv::QvMutexCreate();
    Qv::QvConditionVariable* const condition = Qv::QvConditionVariableCreate();
    check(mutex, !mutex);
    check(condition, !condition);
    if (mutex) check(Qv::QvMutexLock(mutex) == 0 && Qv::QvMutexUnlock(mutex) != 0);
    Qv::QvConditionVariableSignal(condition);
    Qv::QvConditionVariableDestroy(condition);
    Qv::QvMutexDestroy(mutex);
    QvPlatform::Mutex plain;
    plain.lock();
    plain.unlock();
    QvPlatform::Semaphore semaphore(1);
    semaphore.acquire();
}

struct Unit : QvPlatform::ThreadPool::WorkUnit {
    void run() override { done = true; }
    std::atomic<bool> done{false};
};

void threadPool() {
    Unit units[4];
    const auto pool = QvPlatform::ThreadPool::instance(2);
    pool->execute({&units[0], &units[1], &units[2], nullptr, &units[3]});
    for (const Unit& unit : units) check(unit.done);
}

void timers() {
    Qv::QvTimer timer(true);
    check(timer.stop() >= 0);
    QvSim::Timer::Timer watch(true);
    QvSim::Timer::Timer copy(watch);
    copy = watch;
    check(copy.elapsed() >= 0 && copy.isRunning());
    check(QvSim::Timer::getTimerResolution() > 0, true);
    const bool hasCycles = QvPlatform::CycleTime::getCurrentValue() > 0;
    check(hasCycles || support::kWindows, true);  // Wine does not count them
}

void sharedMemory() {
    using Segment = support::SharedSegment<std::uint64_t>;
    Segment first;
    Segment second;
    const std::string key = folder();
    const bool isOpen = first.open(key);
    check(isOpen == first.isOpen());
    check(isOpen, true);
    if (isOpen) {
        check(*first == 0);
        first.lock();
        *first = 5;
        first.unlock();
    }
    const bool isShared = second.open(key);
    check(isShared, true);
    if (isOpen && isShared) check(*second == 5);
    Segment own;
    check(own.open(""), true);
}

void silent(Qv::eLogLevel, const char*, Qv::LogArgs) {}

void logging() {
    const Qv::LogHandler previous = Qv::LogSetHandler(nullptr);
    try {
        Qv::LogWarn("%s %ls %.400f\n", kLong, L"wide text", 1e300);
        Qv::LogInfo("%d\n", 7);
    } catch (...) {
        check(false);  // documented for errors only
    }
    struct Close {
        ~Close() {
            try {
                Qv::setLogFile("");
            } catch (const std::bad_alloc&) {
                check(false, true);
            }
        }
    } close;
    Qv::setLogFile(folder() + "a log");
    check(!Qv::getLogFile().empty());
    Qv::printToLogFile("a line\n");
    Qv::LogWarn("another line\n");
    Qv::LogSetHandler(silent);
    Qv::LogSetHandler(previous);
}

void callStack() {
    QvPlatform::CallStackViewer viewer(Process::getProcessID(), nullptr);
    check(viewer.getCallstack(nullptr, nullptr), true);
    check(viewer.getOutput().find("SystemSequences.cpp") != std::string::npos, true);
    const auto ids = QvPlatform::CallStackViewer::getThreadIds(Process::getProcessID());
    check(!ids.empty(), true);
}

}  // namespace

const Family kSystemFamilies[] = {{"processes", processes, verifyProcesses},
                                  {"threads", threads},
                                  {"threadPool", threadPool, nullptr, true},
                                  {"timers", timers},
                                  {"sharedMemory", sharedMemory},
                                  {"logging", logging},
                                  {"callStack", callStack}};

}  // namespace faults
