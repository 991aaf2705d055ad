#pragma once

#include "os/posix/PosixSupport.h"

#include <sys/types.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace qvp {

/// Another process of this program, prepared like a child, that forks itself for each child: that takes a
/// tenth of the time of starting the program. It never runs a plugin's code, so nothing of one child is left
/// for the next. One child at a time; one thread at a time.
class Zygote {
public:
    /// One without a child, kept by `release` or new. Null if none can be started; then `error` is the
    /// system's error number.
    static std::unique_ptr<Zygote> take(int& error);
    /// Keeps it for `take`, unless it has died.
    static void release(std::unique_ptr<Zygote> zygote);
    Zygote(const Zygote&) = delete;
    Zygote& operator=(const Zygote&) = delete;
    /// Ends the zygote, which ends its child.
    ~Zygote();

    /// Starts a child with both output streams in `output` and the report stream in `report`. Returns an
    /// error number, or 0.
    int start(const std::vector<std::string>& arguments, int output, int report);
    /// Is readable when `collect` has something to do.
    int descriptor() const { return socket_.get(); }
    /// Takes notice of what happened, without blocking.
    void collect() { readMessages(false); }
    bool hasEnded() const { return status_.has_value(); }
    /// The child's process number; 0 before it runs.
    pid_t child() const { return child_; }
    /// Ends the child's process group, unless it has ended. Returns the status that `waitpid` reports.
    int end();

private:
    Zygote(pid_t pid, os::posix::Descriptor socket) : pid_(pid), socket_(std::move(socket)) {}
    void readMessages(bool waits);

    pid_t pid_;
    os::posix::Descriptor socket_;
    pid_t child_ = 0;
    std::optional<int> status_;
    bool isLost_ = false;
};

}  // namespace qvp
