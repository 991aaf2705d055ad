#include "os/ChildProcess.h"

#include "os/CommandLine.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <csignal>
#include <mutex>
#include <utility>
#include <vector>

extern "C" {
#include <sys/pidfd.h>  // without a C++ guard of its own in some versions
}

namespace os {
namespace {

// The children that nobody waits for. The library starts no thread, so those that have ended are taken out
// of the process table whenever a child is started or let go.
class LetGo {
public:
    void add(pid_t pid) {
        const std::lock_guard guard(lock_);
        pids_.push_back(pid);
        reapEnded();
    }
    void reap() {
        const std::lock_guard guard(lock_);
        reapEnded();
    }

private:
    void reapEnded() {
        std::erase_if(pids_, [](pid_t pid) { return waitpid(pid, nullptr, WNOHANG) != 0; });
    }

    std::mutex lock_;
    std::vector<pid_t> pids_;
};

LetGo& letGo() {
    static auto& children = *new LetGo;
    return children;
}

// What every child gets: the standard streams and no other descriptor, no signal blocked or ignored.
class SpawnSettings {
public:
    SpawnSettings() {
        sigset_t none;
        sigset_t all;
        sigemptyset(&none);
        sigfillset(&all);
        posix_spawnattr_init(&attributes_);
        posix_spawnattr_setsigmask(&attributes_, &none);
        posix_spawnattr_setsigdefault(&attributes_, &all);
        posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
        posix_spawn_file_actions_init(&actions_);
        posix_spawn_file_actions_addclosefrom_np(&actions_, STDERR_FILENO + 1);
    }
    SpawnSettings(const SpawnSettings&) = delete;
    SpawnSettings& operator=(const SpawnSettings&) = delete;
    ~SpawnSettings() {
        posix_spawnattr_destroy(&attributes_);
        posix_spawn_file_actions_destroy(&actions_);
    }

    // The new process, or 0.
    pid_t spawn(std::vector<std::string>& arguments) const {
        std::vector<char*> pointers;
        pointers.reserve(arguments.size() + 1);
        for (std::string& argument : arguments) pointers.push_back(argument.data());
        pointers.push_back(nullptr);
        pid_t pid = 0;
        return posix_spawnp(&pid, pointers.front(), &actions_, &attributes_, pointers.data(), environ) == 0
                   ? pid
                   : 0;
    }

private:
    posix_spawnattr_t attributes_{};
    posix_spawn_file_actions_t actions_{};
};

pid_t spawn(std::vector<std::string> arguments) {
    letGo().reap();
    return SpawnSettings().spawn(arguments);
}

bool isProgram(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) && access(path.c_str(), X_OK) == 0;
}

// An unquoted path with blanks is taken for the program as far as there is one, the shortest first.
pid_t spawnPathWithBlanks(const std::string& commandLine) {
    if (commandLine.find('/') == std::string::npos) return 0;
    for (auto end = commandLine.find(' '); end < PATH_MAX; end = commandLine.find(' ', end + 1)) {
        const std::string program = commandLine.substr(0, end);
        if (program.find('"') != std::string::npos) return 0;
        if (!isProgram(program)) continue;
        std::vector<std::string> arguments = splitCommandLine("program" + commandLine.substr(end));
        arguments.front() = program;
        return spawn(std::move(arguments));
    }
    return 0;
}

pid_t waitFor(pid_t pid, int* status) {
    pid_t result = 0;
    do {
        result = waitpid(pid, status, 0);
    } while (result < 0 && errno == EINTR);
    return result;
}

// The descriptor names this very process, also when its number is given to another one.
int descriptorOf(pid_t pid) { return pidfd_open(pid, 0); }

}  // namespace

// Until it has been waited for, the system keeps the process's number for it.
struct ChildProcess::Record {
    explicit Record(pid_t started) : pid(started), descriptor(descriptorOf(started)) {}
    Record(const Record&) = delete;
    Record& operator=(const Record&) = delete;
    ~Record() {
        if (descriptor >= 0) close(descriptor);
        if (pid != 0) letGo().add(pid);
    }

    pid_t pid;
    int descriptor;
};

ChildProcess::ChildProcess() noexcept = default;
ChildProcess::ChildProcess(ChildProcess&& other) noexcept = default;
ChildProcess& ChildProcess::operator=(ChildProcess&& other) noexcept = default;
ChildProcess::ChildProcess(std::unique_ptr<Record> record) noexcept : record_(std::move(record)) {}
ChildProcess::~ChildProcess() = default;

ChildProcess ChildProcess::start(const std::string& commandLine, bool /*showWindow*/) {
    pid_t pid = spawn(splitCommandLine(commandLine));
    if (pid == 0) pid = spawnPathWithBlanks(commandLine);
    if (pid == 0) return {};
    return ChildProcess(std::make_unique<Record>(pid));
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
    if (record_->descriptor >= 0)
        pidfd_send_signal(record_->descriptor, SIGKILL, nullptr, 0);
    else
        ::kill(record_->pid, SIGKILL);
    waitFor(record_->pid, nullptr);
    record_->pid = 0;
}

bool isElevationRefused(std::int64_t exitCode) {
    return geteuid() != 0 && (exitCode == 126 || exitCode == 127);
}

}  // namespace os
