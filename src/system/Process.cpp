#include <QvPlatform/system/Process.h>

#include <QvPlatform/core/StringUtils.h>
#include <QvPlatform/diagnostics/Log.h>
#include <QvPlatform/filesystem/File.h>

#include "os/ChildProcess.h"
#include "os/ProcessInfo.h"
#include "os/SystemPaths.h"

#include <atomic>
#include <limits>
#include <memory>
#include <utility>

namespace QvSim::Process {

struct ProcessHandle {
    os::ChildProcess child;
};

namespace {

const std::string& unknown = *new std::string;

/// A text that is determined once; after a failure, the next call tries again. Readers need no lock, so a
/// forked process never finds it locked. A returned text never changes and is never destroyed.
class FoundText {
public:
    /// The first result of `find` for this `key`.
    template <typename Find>
    const std::string& get(Find find, unsigned int key = 0) {
        const Entry* entry = newest_.load(std::memory_order_acquire);
        if (entry && entry->key == key) return entry->text;
        std::string text = find();
        if (text.empty()) return unknown;
        auto found = std::make_unique<const Entry>(Entry{std::move(text), key, entry});
        // Another thread may have been faster.
        if (newest_.compare_exchange_strong(entry, found.get())) entry = found.release();
        return entry->text;
    }

private:
    struct Entry {
        std::string text;
        unsigned int key;
        const Entry* older;
    };
    std::atomic<const Entry*> newest_{nullptr};
};

constinit FoundText hostName;
constinit FoundText fileName;
constinit FoundText hostNameAndProcess;

std::string describeProcess(unsigned int processId) {
    const std::string& host = getHostName();
    if (host.empty()) {
        Qv::LogError("Process::getHostNameProcessID() Cannot obtain Host Name\n");
        return {};
    }
    if (processId == 0) {
        Qv::LogError("Process::getHostNameProcessID() Cannot obtain Process ID\n");
        return {};
    }
    return host + ":" + std::to_string(processId);
}

void waitFor(os::ChildProcess& child, const std::string& command, const std::string& arguments,
             std::int64_t* exitCode) {
    unsigned long error = 0;
    const auto code = child.wait(error);
    if (!exitCode) return;
    if (code)
        *exitCode = *code;
    else
        Qv::LogWarn("shellExecute: Failed to obtain exit code from command '%s %s'. Failure: %lu\n",
                    command.c_str(), arguments.c_str(), error);
}

}  // namespace

const std::string& getHostName() {
    return hostName.get([] { return StringUtils::toLowerCase(os::hostName()); });
}

bool isMyHostName(const std::string& name) { return StringUtils::toLowerCase(name) == getHostName(); }

unsigned int getProcessID() { return os::processId(); }

const std::string& getProcessFileName() {
    return fileName.get([] { return QvPlatform::File::fromWide(os::executableFile()).toNativePath(); });
}

ProcessMemoryInfo getProcessMemoryInfo() { return {os::residentBytes()}; }

const std::string& getHostNameProcessID() {
    const unsigned int id = getProcessID();
    return hostNameAndProcess.get([id] { return describeProcess(id); }, id);
}

double getFreeDiskSpaceMB(const char* directory) {
    const auto bytes = os::freeDiskBytes(directory ? directory : ".");
    if (!bytes) return std::numeric_limits<double>::max();
    return static_cast<double>(*bytes) * 0.0009765625 * 0.0009765625;
}

long getLocalTimeUTCBias() { return os::standardTimeBias(); }

bool shellExecute(const std::string& command, const std::string& arguments, bool showWindow, bool wait,
                  std::int64_t* exitCode) {
    if (exitCode) *exitCode = -1;
    Qv::LogInfo("Executing shell command: %s %s\n", command.c_str(), arguments.c_str());
    auto child = os::ChildProcess::start(command + " " + arguments, showWindow);
    if (!child) {
        Qv::LogWarn("shellExecute: Failed to execute shell command: %s %s\n", command.c_str(),
                    arguments.c_str());
        return false;
    }
    if (wait) waitFor(child, command, arguments, exitCode);
    return true;
}

bool shellExecute(const std::string& commandLine) {
    const auto start = commandLine.find_first_not_of(' ');
    if (start == std::string::npos) return false;
    const auto end = commandLine.find(' ', start);
    const auto rest = commandLine.find_first_not_of(' ', end);
    const std::string arguments = rest == std::string::npos ? std::string() : commandLine.substr(rest);
    return shellExecute(commandLine.substr(start, end - start), arguments, false, false, nullptr);
}

bool shellExecuteElevated(const std::string& command, const std::string& arguments, bool wait) {
    auto child = os::ChildProcess::startElevated(command, arguments);
    if (!child || !wait) return bool(child);
    unsigned long ignored = 0;
    return !os::isElevationRefused(child.wait(ignored).value_or(0));
}

bool isElevated() { return os::isAdministrator(); }

ProcessHandle* createProcessHandle() { return new ProcessHandle; }

void destroyProcessHandle(ProcessHandle*& handle) { delete std::exchange(handle, nullptr); }

ProcessHandle* execute(const std::string& command, const std::string& arguments) {
    auto handle = std::make_unique<ProcessHandle>();  // before there is a child that it would lose
    handle->child = os::ChildProcess::start(command + " " + arguments, false);
    return handle->child ? handle.release() : nullptr;
}

void kill(ProcessHandle* handle) {
    if (!handle || !handle->child) return;
    handle->child.kill();
    handle->child = {};
}

}  // namespace QvSim::Process
