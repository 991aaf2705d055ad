#include "os/ChildProcess.h"

#include "os/ProcessLock.h"
#include "os/posix/PosixSupport.h"
#include "os/posix/Spawn.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <mutex>
#include <utility>

extern "C" {
#include <sys/pidfd.h>  // without a C++ guard of its own in some versions
}

namespace os {

// The system reserves the process's number until the process has been waited for. The descriptor refers to
// this process even if the number is reused.
struct ChildProcess::Record {
    pid_t pid = 0;
    posix::Descriptor descriptor;
    Record* next = nullptr;

    // The children that no object owns. The library starts no thread for them, so those that have ended are
    // reaped whenever a child is started or abandoned.
    constinit static Record* firstAbandoned;
    static void reapEnded();
};

namespace {

// Guards the list of abandoned children.
constexpr ProcessLock kChildrenLock{LockRank::children};

pid_t waitFor(pid_t pid, int* status) {
    return posix::retryOnInterrupt([=] { return waitpid(pid, status, 0); });
}

}  // namespace

constinit ChildProcess::Record* ChildProcess::Record::firstAbandoned = nullptr;

void ChildProcess::Record::reapEnded() {
    for (Record** place = &firstAbandoned; *place;) {
        Record* const record = *place;
        if (waitpid(record->pid, nullptr, WNOHANG) == 0) {
            place = &record->next;
        } else {
            *place = record->next;
            delete record;
        }
    }
}

void ChildProcess::Abandon::operator()(Record* record) const noexcept {
    const CancellationShield shield;
    record->descriptor = posix::Descriptor();
    if (record->pid == 0) {
        delete record;
        return;
    }
    const std::lock_guard guard(kChildrenLock);
    record->next = std::exchange(Record::firstAbandoned, record);
    Record::reapEnded();
}

ChildProcess::ChildProcess() noexcept = default;
ChildProcess::ChildProcess(ChildProcess&& other) noexcept = default;
ChildProcess& ChildProcess::operator=(ChildProcess&& other) noexcept = default;
ChildProcess::ChildProcess(OwnedRecord record) noexcept : record_(std::move(record)) {}
ChildProcess::~ChildProcess() = default;

ChildProcess ChildProcess::start(const std::string& commandLine, bool /*showWindow*/) {
    const CancellationShield shield;
    {
        const std::lock_guard guard(kChildrenLock);
        Record::reapEnded();
    }
    OwnedRecord record(new Record);
    record->pid = posix::spawn(commandLine);
    if (record->pid == 0) return {};
    record->descriptor = posix::Descriptor(pidfd_open(record->pid, 0));
    return ChildProcess(std::move(record));
}

ChildProcess ChildProcess::startElevated(const std::string& command, const std::string& arguments) {
    const char* const prefix = geteuid() == 0 ? "" : "pkexec ";
    const bool isQuoted = command.find('"') != std::string::npos;
    const std::string program = isQuoted ? command : '"' + command + '"';
    return start(prefix + program + " " + arguments, true);
}

std::optional<std::int64_t> ChildProcess::wait(unsigned long& error) {
    int status = 0;
    if (waitFor(record_->pid, &status) < 0) {
        error = static_cast<unsigned long>(errno);
        record_->pid = 0;
        return std::nullopt;
    }
    record_->pid = 0;
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

void ChildProcess::kill() {
    if (record_->pid == 0) return;
    const bool isSent =
        (record_->descriptor && pidfd_send_signal(record_->descriptor.get(), SIGKILL, nullptr, 0) == 0) ||
        ::kill(record_->pid, SIGKILL) == 0;
    if (!isSent) return;  // it may have another user's rights
    waitFor(record_->pid, nullptr);
    record_->pid = 0;
}

bool isElevationRefused(std::int64_t exitCode) {
    return geteuid() != 0 && (exitCode == 126 || exitCode == 127);
}

}  // namespace os
