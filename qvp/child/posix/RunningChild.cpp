// Order: `start`, `wait` any number of times, then `end` or the destructor. The child is the leader of its
// own process group. Both `end` and the destructor have its zygote kill the group and then reap the child;
// the zygote is then free for another one. Processes that left the group live on.
//
// `wait` polls the zygote's socket and both pipes of each child, and empties the pipes, so no child blocks
// on output for long while `wait` is called again and again; what exceeds the limits is read and dropped.
// The pipes are the child's own, so what a process of an earlier child still writes does not reach them. This
// process keeps no writing end after `start`.

#include "child/RunningChild.h"

#include "child/posix/Zygote.h"
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
#include <ctime>
#include <utility>

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
    Record(std::unique_ptr<Zygote> itsZygote, Pipe& outputPipe, Pipe& reportPipe)
        : zygote(std::move(itsZygote)),
          output(std::move(outputPipe.reading), kOutputKept),
          report(std::move(reportPipe.reading), kReportKept) {}
    Record(const Record&) = delete;
    Record& operator=(const Record&) = delete;
    ~Record() { endGroup(); }

    int endGroup() {
        if (!zygote) return 0;
        const int status = zygote->end();
        wasStarted = zygote->child() != 0;
        Zygote::release(std::move(zygote));
        return status;
    }

    std::array<pollfd, 3> awaited() const {
        return {pollfd{zygote->descriptor(), POLLIN, 0}, pollfd{output.descriptor(), POLLIN, 0},
                pollfd{report.descriptor(), POLLIN, 0}};
    }

    void collect() {
        output.collect();
        report.collect();
    }

    std::unique_ptr<Zygote> zygote;
    Collector output;
    Collector report;
    bool hasEnded = false;
    bool wasStarted = false;
};

RunningChild::RunningChild(std::unique_ptr<Record> record) : record_(std::move(record)) {}
RunningChild::RunningChild(RunningChild&& other) noexcept = default;
RunningChild& RunningChild::operator=(RunningChild&& other) noexcept = default;
RunningChild::~RunningChild() = default;

std::variant<RunningChild, ChildEnd> RunningChild::start(const std::vector<std::string>& arguments) {
    Pipe output;
    Pipe report;
    if (const int error = std::max(output.error, report.error)) return notStarted(error);
    int error = 0;
    std::unique_ptr<Zygote> zygote = Zygote::take(error);
    if (zygote) error = zygote->start(arguments, output.writing.get(), report.writing.get());
    if (error != 0) return notStarted(error);
    return RunningChild(std::make_unique<Record>(std::move(zygote), output, report));
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
        if (awaited[3 * i].revents != 0) record.zygote->collect();
        record.hasEnded = record.zygote->hasEnded();
        record.collect();
    }
}

bool RunningChild::hasEnded() const { return record_->hasEnded; }

std::chrono::milliseconds RunningChild::processorTime() const {
    clockid_t clock = 0;
    timespec time{};
    const pid_t child = record_->zygote->child();
    if (child == 0 || clock_getcpuclockid(child, &clock) != 0 || clock_gettime(clock, &time) != 0) return {};
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::seconds(time.tv_sec) +
                                                                 std::chrono::nanoseconds(time.tv_nsec));
}

ChildEnd RunningChild::end() {
    const int status = record_->endGroup();
    record_->collect();
    if (!record_->wasStarted) return notStarted(EAGAIN);
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
