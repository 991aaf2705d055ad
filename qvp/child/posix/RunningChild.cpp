// Order: `start`, `wait` any number of times, then `end` or the destructor. The child is the leader of its
// own process group. Both `end` and the destructor kill the group and then reap the child; until it is
// reaped, the system cannot give its number to another process or group. Processes that left the group live
// on.
//
// `wait` polls a process descriptor and the output pipe of each child, and empties the pipe, so no child
// blocks on output for long while `wait` is called again and again; what exceeds the limits is read and
// dropped. This process keeps no writing end after `start`. The report is a file in memory, which `end`
// reads; nothing in it is trusted. If `start` fails after the child was created, the child is killed and
// reaped.

#include "child/RunningChild.h"

#include "child/KeptOutput.h"
#include "child/Report.h"
#include "child/posix/Report.h"
#include "os/posix/PosixSupport.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstddef>
#include <cstring>
#include <ctime>
#include <utility>

extern "C" {
#include <sys/pidfd.h>  // without a C++ guard of its own in some versions
}

namespace qvp {
namespace {

using os::posix::Descriptor;

// Collects what a pipe delivers; what is not kept is read too, so that the writer does not block.
class Collector {
public:
    explicit Collector(Descriptor pipe) : pipe_(std::move(pipe)) { fcntl(pipe_.get(), F_SETFL, O_NONBLOCK); }

    int descriptor() const { return pipe_.get(); }

    // Reads what is available now. The rounds are limited in case the writer is as fast as this.
    void collect() {
        std::array<char, std::size_t{64} << 10U> bytes;
        for (int round = 0; round < 16; ++round) {
            const ssize_t count =
                os::posix::retryOnInterrupt([&] { return read(pipe_.get(), bytes.data(), bytes.size()); });
            if (count == 0) pipe_ = Descriptor();
            if (count <= 0) return;
            kept_.append({bytes.data(), static_cast<std::size_t>(count)});
        }
    }

    std::string take() { return kept_.take(); }

private:
    Descriptor pipe_;
    KeptOutput kept_;
};

template <typename Value>
bool readAt(int file, std::size_t offset, Value& value) {
    return pread(file, &value, sizeof value, static_cast<off_t>(offset)) == sizeof value;
}

void readReport(int file, ChildEnd& end) {
    std::uint64_t size = 0;
    std::uint32_t calledExit = 0;
    if (!readAt(file, offsetof(ReportArea, size), size) ||
        !readAt(file, offsetof(ReportArea, calledExit), calledExit))
        return;
    end.calledExit = calledExit != 0;
    end.isReportFull = size > ReportArea::kCapacity;
    end.report.resize(std::min<std::uint64_t>(size, ReportArea::kCapacity));
    const ssize_t count = pread(file, end.report.data(), end.report.size(), offsetof(ReportArea, text));
    end.report.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
}

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

// Starts the program in its own process group: no input, both output streams to one pipe, the report, no
// other descriptors. Returns an error number, or 0.
int spawnHost(const std::string& program, std::vector<std::string> arguments, const Pipe& output, int report,
              pid_t& pid) {
    os::posix::SpawnSettings settings(POSIX_SPAWN_SETPGROUP);
    posix_spawn_file_actions_t* const actions = settings.actions();
    posix_spawn_file_actions_addopen(actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(actions, output.writing.get(), STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(actions, output.writing.get(), STDERR_FILENO);
    posix_spawn_file_actions_adddup2(actions, report, kReportDescriptor);
    posix_spawn_file_actions_addclosefrom_np(actions, kReportDescriptor + 1);
    arguments.insert(arguments.begin(), program);
    return settings.spawn(program.c_str(), std::move(arguments), environ, pid);
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

ChildEnd notStarted(int error, const std::string& file = {}) {
    ChildEnd end;
    end.code = error;
    end.text = (file.empty() ? file : file + ": ") + os::posix::errorText(error);
    return end;
}

Descriptor createReport() {
    Descriptor report(memfd_create("qvp-report", MFD_CLOEXEC));
    if (report && ftruncate(report.get(), sizeof(ReportArea)) != 0) return Descriptor();
    return report;
}

}  // namespace

struct RunningChild::Record {
    Record(pid_t pid, Descriptor process, Pipe& outputPipe, Descriptor reportFile)
        : pid_(pid),
          process_(std::move(process)),
          output(std::move(outputPipe.reading)),
          report(std::move(reportFile)) {}
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

    pid_t pid() const { return pid_; }

    // The first one becomes readable when the process has ended.
    std::array<pollfd, 2> awaited() const {
        return {pollfd{process_.get(), POLLIN, 0}, pollfd{output.descriptor(), POLLIN, 0}};
    }

private:
    pid_t pid_;
    Descriptor process_;

public:
    Collector output;
    Descriptor report;
    bool hasEnded = false;
};

RunningChild::RunningChild(std::unique_ptr<Record> record) : record_(std::move(record)) {}
RunningChild::RunningChild(RunningChild&& other) noexcept = default;
RunningChild& RunningChild::operator=(RunningChild&& other) noexcept = default;
RunningChild::~RunningChild() = default;

std::variant<RunningChild, ChildEnd> RunningChild::start(const std::vector<std::string>& arguments) {
    Pipe output;
    if (output.error != 0) return notStarted(output.error);
    Descriptor report = createReport();
    if (!report) return notStarted(errno);
    const std::string program = hostProgram();
    pid_t pid = 0;
    const int error = spawnHost(program, arguments, output, report.get(), pid);
    if (error != 0) return notStarted(error, program);
    Descriptor process(pidfd_open(pid, 0));
    const int processError = process ? 0 : errno;
    auto record = std::make_unique<Record>(pid, std::move(process), output, std::move(report));
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
        record.hasEnded = awaited[2 * i].revents != 0;
        record.output.collect();
    }
}

bool RunningChild::hasEnded() const { return record_->hasEnded; }

std::chrono::milliseconds RunningChild::processorTime() const {
    clockid_t clock = 0;
    timespec time{};
    if (clock_getcpuclockid(record_->pid(), &clock) != 0 || clock_gettime(clock, &time) != 0) return {};
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::seconds(time.tv_sec) +
                                                                 std::chrono::nanoseconds(time.tv_nsec));
}

ChildEnd RunningChild::end() {
    const int status = record_->endGroup();
    record_->output.collect();
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
    readReport(record_->report.get(), end);
    end.output = record_->output.take();
    return end;
}

}  // namespace qvp
