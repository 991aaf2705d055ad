#include <QvPlatform/diagnostics/LogFile.h>

#include <QvPlatform/core/QvVersion.h>
#include <QvPlatform/diagnostics/Log.h>
#include <QvPlatform/system/Process.h>

#include "diagnostics/LogPurge.h"
#include "diagnostics/LogSink.h"
#include "os/OutputStream.h"

#include <ctime>
#include <mutex>

namespace Qv {
namespace {

namespace Process = QvSim::Process;

// Never destroyed: a static destructor may log.
struct Names {
    std::mutex lock;
    std::string requested;
    std::string open;  ///< or the last one that could not be opened
};

Names& names() {
    static auto& instance = *new Names;
    return instance;
}

// Without a host name there is no text for it, only an error that a log file must not fail for.
std::string processText() {
    return Process::getHostName().empty() ? ":" + std::to_string(Process::getProcessID())
                                          : Process::getHostNameProcessID();
}

std::string header() {
    return std::string("Quorex Studio version ") + QvGetVersion() + "\nRunning application is " +
           Process::getProcessFileName() + " (" + processText() + ")\n";
}

void open(const std::string& path) {
    {
        const std::lock_guard guard(names().lock);
        names().requested = path;
        if (path == names().open) return;
        names().open = path;
    }
    if (path.empty())
        detail::closeLogSink();
    else
        detail::openLogSink(path, header());
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
    const std::lock_guard guard(names().lock);
    return names().requested;
}

void printToLogFile(const std::string& text) {
    if (!text.empty()) detail::writeToLogSink(text);
}

}  // namespace Qv
