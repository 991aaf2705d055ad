// Uses parts of the library once, or for some seconds, and ends with a status that tells what failed:
//   surrounded FOLDER PLUGIN [signals] [orphan FILE] [peak] [seconds NUMBER]
// signals: a signal interrupts each millisecond. orphan: begins when the parent has died, and writes the
// status to FILE. peak: prints the address space that was needed, in KiB.
//
// The status is the sum of the parts that reported a failure: 1 log, 2 files, 4 memory, 8 threads, 16 host,
// 32 plugin. A part that claims success and has another result makes it 64 more.

#include <QvPlatform/QvPluginSystem/QvPluginManager.h>
#include <QvPlatform/diagnostics/CallStackViewer.h>
#include <QvPlatform/diagnostics/Log.h>
#include <QvPlatform/diagnostics/LogFile.h>
#include <QvPlatform/filesystem/Directory.h>
#include <QvPlatform/filesystem/Filesystem.h>
#include <QvPlatform/system/Process.h>
#include <QvPlatform/threads/ThreadPool.h>

#include "support/ChildProgram.h"
#include "support/SharedSegment.h"

#include <sys/time.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <system_error>

namespace {

using QvPlatform::Directory;
using QvPlatform::File;

enum class Result { ok, failed, wrong };

Result writeLog(const std::string& folder) {
    Qv::setLogFile(folder + "app");
    for (int i = 0; i < 20; ++i) Qv::LogInfo("line %d", i);
    const std::string content = support::readFile(Qv::getLogFile());
    const File file(Qv::getLogFile());
    Qv::setLogFile("");
    QvPlatform::Filesystem::remove(file);
    if (content.find("INFO: line 19\n") == std::string::npos) return Result::failed;
    const auto lines = std::count(content.begin(), content.end(), '\n');
    return lines == 22 ? Result::ok : Result::wrong;  // two of them are the header
}

Result copyTree(const std::string& folder) {
    const std::string text(100'000, 'x');
    const Directory source(folder + "source");
    const Directory target(folder + "target");
    const bool isMade = QvPlatform::Filesystem::create(Directory(folder + "source/inner"));
    if (isMade) support::writeFile(folder + "source/inner/file", text);
    const bool isWritten = support::readFile(folder + "source/inner/file") == text;
    const bool isCopied = isWritten && QvPlatform::Filesystem::copy(source, target, false);
    const std::string copy = support::readFile(folder + "target/inner/file");
    if (isMade) QvPlatform::Filesystem::remove(source);
    if (target.exists() && !QvPlatform::Filesystem::remove(target)) return Result::wrong;
    if (!isCopied) return copy.empty() ? Result::failed : Result::wrong;
    return copy == text ? Result::ok : Result::wrong;
}

Result shareMemory() {
    support::SharedSegment<support::SharedBlock> segment;
    if (!segment.open("surrounded" + std::to_string(getpid()))) return Result::failed;
    segment.lock();
    const bool isZero = std::all_of(segment->begin(), segment->end(), [](char byte) { return byte == 0; });
    segment->fill('x');
    segment.unlock();
    return isZero ? Result::ok : Result::wrong;
}

struct Unit : QvPlatform::ThreadPool::WorkUnit {
    void run() override { ++runs; }
    std::atomic<int> runs{0};
};

Result runUnits() {
    std::vector<Unit> units(8);
    std::vector<QvPlatform::ThreadPool::WorkUnit*> all;
    for (Unit& unit : units) all.push_back(&unit);
    try {
        QvPlatform::ThreadPool::instance(0)->execute(all);
    } catch (const std::exception&) {
        return Result::failed;
    }
    const bool isOnce =
        std::all_of(units.begin(), units.end(), [](const Unit& unit) { return unit.runs == 1; });
    return isOnce ? Result::ok : Result::wrong;
}

Result askHost() {
    QvPlatform::CallStackViewer viewer(static_cast<unsigned long>(getpid()), nullptr);
    const bool isWalked = viewer.getCallstack(nullptr, nullptr);
    const bool isTold = !QvSim::Process::getHostName().empty() &&
                        QvSim::Process::getProcessFileName().find("surrounded") != std::string::npos &&
                        !Directory(Directory::kUserProfile).toUniversalPath().empty() &&
                        Directory(Directory::kTemporaryDirectory).exists();
    return isWalked && isTold ? Result::ok : Result::failed;
}

Result loadPlugin(const std::string& file) {
    auto* const manager = QvPluginSystem::QvPluginManager::instance();
    manager->load(file);
    if (!manager->isLoaded(file)) return Result::failed;
    manager->unloadAll();
    return manager->isLoaded(file) ? Result::wrong : Result::ok;
}

int runAll(const std::string& folder, const std::string& plugin) {
    int status = 0;
    int bit = 1;
    for (const Result result :
         {writeLog(folder), copyTree(folder), shareMemory(), runUnits(), askHost(), loadPlugin(plugin)}) {
        if (result != Result::ok) status |= bit;
        if (result == Result::wrong) status |= 64;
        bit *= 2;
    }
    return status;
}

void interruptOften() {
    struct sigaction action {};
    action.sa_handler = [](int) {};
    sigaction(SIGALRM, &action, nullptr);
    const itimerval often{{0, 1000}, {0, 1000}};
    setitimer(ITIMER_REAL, &often, nullptr);
}

void printPeak() {
    const std::string status = support::readFile("/proc/self/status");
    const auto place = status.find("VmPeak:");
    if (place != std::string::npos)
        std::printf("%ld\n", std::strtol(status.c_str() + place + 7, nullptr, 10));
}

}  // namespace

int main(int count, char** arguments) {
    if (count < 3) return 64;
    const std::vector<std::string> words(arguments + 1, arguments + count);
    const auto option = [&](const char* name) { return std::find(words.begin() + 2, words.end(), name); };
    const auto valueOf = [&](const char* name) {
        const auto found = option(name);
        return found == words.end() || found + 1 == words.end() ? std::string() : found[1];
    };
    const std::string orphan = valueOf("orphan");
    const pid_t parent = getppid();
    if (!orphan.empty() && !support::comesTrue([=] { return getppid() != parent; })) return 64;
    std::signal(SIGXFSZ, SIG_IGN);
    if (option("signals") != words.end()) interruptOften();

    const auto end =
        std::chrono::steady_clock::now() + std::chrono::seconds(std::atoi(valueOf("seconds").c_str()));
    int status = runAll(words[0], words[1]);
    while (std::chrono::steady_clock::now() < end) status |= runAll(words[0], words[1]);
    if (option("peak") != words.end()) printPeak();
    if (!orphan.empty()) support::writeFile(orphan, std::to_string(status) + "\n");
    return status;
}
