// Order: `start`, `wait` any number of times, then `end` or the destructor. The child is the leader of its
// own process group. Both `end` and the destructor kill the group and then reap the child; until it is
// reaped, the system cannot give its number to another process or group. Processes that left the group live
// on.
//
// `wait` polls a process descriptor and both pipes of each child, and empties the pipes, so no child blocks
// on output for long while `wait` is called again and again; what exceeds the limits is read and dropped.
// This process keeps no writing end after `start`. If `start` fails after the child was created, the child is
// killed and reaped.

#include "child/RunningChild.h"

#include "child/posix/Report.h"
#include "os/posix/PosixSupport.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstring>
#include <utility>

extern "C" {
#include <sys/pidfd.h>  // without a C++ guard of its own in some versions
}

namespace qvp {
namespace {

using os::posix::Descriptor;

// Collects what a pipe delivers, up to a size; the rest is read too, so that the writer does not block.
class Collector {
public:
    Collector(Descriptor pipe, std::size_t kept) : pipe_(std::move(pipe)), kept_(kept) {
        fcntl(pipe_.get(), F_SETFL, O_NONBLOCK);
    }

    int descriptor() const { return pipe_.get(); }

    // Reads what is available now. The rounds are limited in case the writer is as fast as this.
    void collect() {
        std::array<char, std::size_t{64} << 10U> bytes;
        for (int round = 0; round < 16; ++round) {
            const ssize_t count =
                os::posix::retryOnInterrupt([&] { return read(pipe_.get(), bytes.data(), bytes.size()); });
            if (count == 0) pipe_ = Descriptor();
            if (count <= 0) return;
            text_.append(bytes.data(), std::min(static_cast<std::size_t>(count), kept_ - text_.size()));
        }
    }

    std::string take() { return std::move(text_); }

private:
    Descriptor pipe_;
    std::size_t kept_;
    std::string text_;
};

struct Pipe {
    Pipe() {
        std::array<int, 2> ends{-1, -1};
        if (pipe2(ends.data(), O_CLOEXEC) != 0) error = errno;
        reading = Descriptor(ends[0]);
        writing = Descriptor(ends[1]);
    }
    int error = 0;
    Descriptor reading;
    Descriptor writing;
};

// Starts this program in its own process group: no input, both output streams to one pipe, the report pipe,
// no other descriptors. Returns an error number, or 0.
int spawnSelf(std::vector<std::string> arguments, const Pipe& output, const Pipe& report, pid_t& pid) {
    os::posix::SpawnSettings settings(POSIX_SPAWN_SETPGROUP);
    posix_spawn_file_actions_t* const actions = settings.actions();
    posix_spawn_file_actions_addopen(actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(actions, output.writing.get(), STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(actions, output.writing.get(), STDERR_FILENO);
    posix_spawn_file_actions_adddup2(actions, report.writing.get(), kReportDescriptor);
    posix_spawn_file_actions_addclosefrom_np(actions, kReportDescriptor + 1);
    arguments.insert(arguments.begin(), program_invocation_name);
    return settings.spawn("/proc/self/exe", std::move(arguments), environ, pid);
}

// "SIGSEGV (segmentation fault)"
std::string signalText(int number) {
    const char* const name = sigabbrev_np(number);
    const char* const description = sigdescr_np(number);
    if (!name || !description) return "signal " + std::to_string(number);
    std::string inSentence = description;
    inSentence.front() = static_cast<char>(std::tolower(static_cast<unsigned char>(inSentence.front())));
    return std::string("SIG") + name + " (" + inSentence + ")";
}

ChildEnd notStarted(int error) {
    return {ChildEnd::Kind::notStarted, error, os::posix::errorText(error), {}, {}};
}

}  // namespace

struct RunningChild::Record {
    Record(pid_t pid, Descriptor process, Pipe& outputPipe, Pipe& reportPipe)
        : pid_(pid),
          process_(std::move(process)),
          output(std::move(outputPipe.reading), kOutputKept),
          report(std::move(reportPipe.reading), kReportKept) {}
    Record(const Record&) = delete;
    Record& operator=(const Record&) = delete;
    ~Record() { endGroup(); }

    int endGroup() {
        int status = 0;
        if (pid_ == 0) return status;
        kill(-pid_, SIGKILL);
        kill(pid_, SIGKILL);
        os::posix::retryOnInterrupt([&] { return waitpid(pid_, &status, 0); });
        pid_ = 0;
        return status;
    }

    // The first one becomes readable when the process has ended.
    std::array<pollfd, 3> awaited() const {
        return {pollfd{process_.get(), POLLIN, 0}, pollfd{output.descriptor(), POLLIN, 0},
                pollfd{report.descriptor(), POLLIN, 0}};
    }

    void collect() {
        output.collect();
        report.collect();
    }

private:
    pid_t pid_;
    Descriptor process_;

public:
    Collector output;
    Collector report;
    bool hasEnded = false;
};

RunningChild::RunningChild(std::unique_ptr<Record> record) : record_(std::move(record)) {}
RunningChild::RunningChild(RunningChild&& other) noexcept = default;
RunningChild& RunningChild::operator=(RunningChild&& other) noexcept = default;
RunningChild::~RunningChild() = default;

std::variant<RunningChild, ChildEnd> RunningChild::start(const std::vector<std::string>& arguments) {
    Pipe output;
    Pipe report;
    if (const int error = std::max(output.error, report.error)) return notStarted(error);
    pid_t pid = 0;
    const int error = spawnSelf(arguments, output, report, pid);
    if (error != 0) return notStarted(error);
    Descriptor process(pidfd_open(pid, 0));
    const int processError = process ? 0 : errno;
    auto record = std::make_unique<Record>(pid, std::move(process), output, report);
    if (processError != 0) return notStarted(processError);
    return RunningChild(std::move(record));
}

void RunningChild::wait(const std::vector<RunningChild*>& children, std::chrono::milliseconds time) {
    std::vector<pollfd> awaited;
    for (const RunningChild* child : children) {
        const auto descriptors = child->record_->awaited();
        awaited.insert(awaited.end(), descriptors.begin(), descriptors.end());
    }
    poll(awaited.data(), awaited.size(),
         static_cast<int>(std::min<std::chrono::milliseconds::rep>(time.count(), INT_MAX)));
    for (std::size_t i = 0; i < children.size(); ++i) {
        Record& record = *children[i]->record_;
        record.hasEnded = awaited[3 * i].revents != 0;
        record.collect();
    }
}

bool RunningChild::hasEnded() const { return record_->hasEnded; }

ChildEnd RunningChild::end() {
    const int status = record_->endGroup();
    record_->collect();
    ChildEnd end;
    if (!record_->hasEnded) {
        end.kind = ChildEnd::Kind::timedOut;
    } else if (WIFSIGNALED(status)) {
        end.kind = ChildEnd::Kind::crashed;
        end.code = WTERMSIG(status);
        end.text = signalText(end.code);
    } else {
        end.kind = ChildEnd::Kind::exited;
        end.code = WEXITSTATUS(status);
    }
    end.report = record_->report.take();
    end.output = record_->output.take();
    return end;
}

}  // namespace qvp
