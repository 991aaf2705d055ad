// What stands on the operating system.

#include <QvPlatform/core/QvSmartPtr.h>
#include <QvPlatform/diagnostics/CallStackViewer.h>
#include <QvPlatform/diagnostics/Log.h>
#include <QvPlatform/diagnostics/LogFile.h>
#include <QvPlatform/filesystem/Environment.h>
#include <QvPlatform/filesystem/Filesystem.h>
#include <QvPlatform/system/CPU.h>
#include <QvPlatform/system/Process.h>
#include <QvPlatform/system/Registry.h>
#include <QvPlatform/system/Services.h>
#include <QvPlatform/threads/Mutex.h>
#include <QvPlatform/threads/QvThread.h>
#include <QvPlatform/threads/Semaphore.h>
#include <QvPlatform/threads/StepperThread.h>
#include <QvPlatform/threads/ThreadPool.h>
#include <QvPlatform/time/CycleTime.h>
#include <QvPlatform/time/QvTimer.h>
#include <QvPlatform/time/Timer.h>

#include "faults/Faults.h"
#include "support/SharedSegment.h"

#include <sys/stat.h>

#include <atomic>
#include <cstdint>
#include <limits>
#include <new>
#include <stdexcept>
#include <system_error>

namespace faults {
namespace {

using QvPlatform::Directory;
using QvPlatform::File;
namespace Filesystem = QvPlatform::Filesystem;
namespace Process = QvSim::Process;

const char* const kFile = "name with more than fifteen bytes";

void paths() {
    for (int which = Directory::kCurrentDirectory; which <= Directory::kTemporaryDirectory; ++which) {
        const Directory known(static_cast<Directory::WellKnownDirectory>(which));
        check(known.exists(), true);
    }
    const File file(folder() + kFile);
    check(file.exists(), true);
    check(file.getName() == kFile && Directory(file).toUniversalPath() == folder());
    check(File("relative/path/of/some/length").getName() == "length");
    check(!File::thatContains(reinterpret_cast<void*>(&paths)).getName().empty(), true);
    const Directory own(folder());
    check(own.files().size() == 2, true);
    check(own.directories().size() == 1, true);
    check(own.hasParent() && own.hasDirectory("plugins") && own.hasFile(kFile), true);
    check(Directory::commonRootOf({own.directory("plugins"), own.directory("absent")}) != nullptr, true);
}

// What the sequence was told; judged when nothing fails any more.
struct {
    bool copied, tree, renamed, removed, made;
} told;

void files() {
    told = {};
    const Directory own(folder());
    const File source = own.file(kFile);
    told.copied = Filesystem::copy(source, own.file("copy"), false);
    check(told.copied, true);
    told.tree = Filesystem::copy(own.directory("plugins"), own.directory("tree/deeper"), true);
    check(told.tree, true);
    check(Filesystem::glob(own, "*.qvp", true).size() == (told.tree ? 4 : 2), true);
    told.renamed = Filesystem::rename(source, "another name with more bytes");
    check(told.renamed, true);
    told.tree = false;
    told.removed = Filesystem::remove(own.directory("tree"));
    check(told.removed, true);
    told.made = Filesystem::create(own.directory("a/new/folder"));
    check(told.made, true);
    check(Filesystem::create(own.file("b/empty file")), true);
    std::int64_t time = 0;
    check(Filesystem::getLastModifiedTime(own.file("lower.new"), &time), true);
    check(!Filesystem::createUniqueName("a prefix with some length").empty());
    const File temporary = Filesystem::createTempFile("a prefix with some length");
    check(Filesystem::remove(temporary), true);
    check(!Filesystem::createTempFileName("prefix").exists(), true);
}

// The size of a file, or -1.
long sizeOf(const char* name) {
    struct stat status {};
    return stat((folder() + name).c_str(), &status) == 0 ? static_cast<long>(status.st_size) : -1;
}

void verifyFiles() {
    check(!told.copied || sizeOf("copy") == 7);
    check(sizeOf("copy") == 7 || sizeOf("copy") == -1);
    check(!told.removed || sizeOf("tree") == -1);
    check(!told.tree || sizeOf("tree/deeper/lower.qvp") == sizeOf("plugins/lower.qvp"));
    check(!told.renamed || (sizeOf("another name with more bytes") == 7 && sizeOf(kFile) == -1));
    check(sizeOf("another name with more bytes") == 7 || sizeOf(kFile) == 7);
    check(!told.made || sizeOf("a/new/folder") >= 0);
}

void processes() {
    std::int64_t code = -7;
    const bool ran = Process::shellExecute("/bin/sh", "-c \"exit 3\"", false, true, &code);
    check(ran && code == 3, true);
    Process::ProcessHandle* child = Process::execute("/bin/sleep", "20");
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

void environment() {
    const char* const value = "a value with more than fifteen bytes";
    const bool isPut = QvPlatform::putEnv("QV_FAULTS_VARIABLE", value);
    check(isPut, true);
    if (isPut) check(QvPlatform::getEnv("QV_FAULTS_VARIABLE") == value);
    check(QvPlatform::getEnv("QV_FAULTS_ABSENT").empty() && QvPlatform::getPathSeparator() == ":");
    long error = 0;
    check(!QvPlatform::setRegistryValue(true, "a key with more than fifteen bytes", "name", value, &error));
    check(QvPlatform::getRegistryValue("key", "name", &error).empty() && error != 0);
    check(QvPlatform::getServiceStatus("service") == QvPlatform::eServiceStatusUnknown);
    check(QvPlatform::CPU::getCoreCount() > 0);
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
    check(QvPlatform::CycleTime::getCurrentValue() > 0, true);
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
        Qv::LogWarn("%s %ls %.400f\n", kFile, L"wide text", 1e300);
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

const Family kSystemFamilies[] = {{"paths", paths},         {"files", files, verifyFiles},
                                  {"processes", processes}, {"environment", environment},
                                  {"threads", threads},     {"threadPool", threadPool, nullptr, true},
                                  {"timers", timers},       {"sharedMemory", sharedMemory},
                                  {"logging", logging},     {"callStack", callStack}};

}  // namespace faults
