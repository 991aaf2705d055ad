#include <QvPlatform/diagnostics/LogFile.h>

#include <QvPlatform/core/QvVersion.h>
#include <QvPlatform/diagnostics/Log.h>
#include <QvPlatform/system/Process.h>

#include "diagnostics/LogPurge.h"
#include "diagnostics/log/LogSink.h"
#include "os/Cancellation.h"
#include "os/OutputStream.h"
#include "os/ProcessLock.h"

#include <ctime>
#include <mutex>

namespace Qv {
namespace {

namespace Process = QvSim::Process;

constexpr os::ProcessLock kNamesLock{os::LockRank::logFileName};

struct Names {
    std::string requested;
    std::string open;  ///< or the last one that could not be opened
};

// Guarded by the lock. Created on first use and never destroyed: a static destructor may log.
Names& names() {
    static constinit Names* instance = nullptr;
    if (!instance) instance = new Names;
    return *instance;
}

// If the host name is unavailable, the text is empty; that must not prevent the log file from being opened.
std::string processText() {
    return Process::getHostName().empty() ? ":" + std::to_string(Process::getProcessID())
                                          : Process::getHostNameProcessID();
}

std::string header() {
    return std::string("Quorex Studio version ") + QvGetVersion() + "\nRunning application is " +
           Process::getProcessFileName() + " (" + processText() + ")\n";
}

// Returns true if the name has changed.
bool keepName(const std::string& path) {
    std::string requested = path;
    std::string open = path;
    const std::lock_guard guard(kNamesLock);
    Names& kept = names();
    kept.requested.swap(requested);
    kept.open.swap(open);
    return open != path;
}

// Everything that can fail runs before the name is stored, and no cancellation occurs between storing the
// name and opening the file.
void open(const std::string& path) {
    const os::CancellationShield shield;
    const std::string text = path.empty() ? "" : header();
    if (!keepName(path)) return;
    if (path.empty())
        detail::closeLogSink();
    else
        detail::openLogSink(path, text);
}

}  // namespace

void setLogFile(const std::string& baseName) {
    if (baseName.empty()) {
        os::writeToStandardError("Stopped writing to log file\n");
        open({});
        return;
    }
    const std::string stem = baseName + "_" + Process::getHostName();
    detail::purgeLogsBeside(stem, detail::purgeCutoff(std::time(nullptr), LogGetExpiration()));
    const std::string path = stem + "_" + std::to_string(Process::getProcessID()) + ".log";
    os::writeToStandardError("Writing to log file " + path + "\n");
    open(path);
}

std::string getLogFile() {
    const std::lock_guard guard(kNamesLock);
    return names().requested;
}

void printToLogFile(const std::string& text) {
    if (!text.empty()) detail::writeToLogSink(text);
}

}  // namespace Qv
