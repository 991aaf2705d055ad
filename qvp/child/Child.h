#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace qvp {

/// How a child process ended.
struct ChildEnd {
    enum class Kind { exited, crashed, timedOut, notStarted };

    Kind kind = Kind::notStarted;
    int code = 0;  ///< exit code; signal number or exception code; the system's error number
    std::string
        text;  ///< "SIGSEGV (segmentation fault)", "access violation (0xC0000005)", the system's words
    std::string report;  ///< what it wrote to its report stream
    std::string output;  ///< what it printed, both streams, at most 64 KiB
};

struct ChildLimits {
    std::chrono::milliseconds time{10000};  ///< each child's; then it is ended, with what it started itself
    unsigned parallel = 0;                  ///< children at a time; 0 for one per processor
};

/// The arguments of one child, and what to call when it has ended.
struct ChildTask {
    std::vector<std::string> arguments;
    std::function<void(ChildEnd)> onEnd;
};

/// Runs this very program again for each task that `nextTask` gives, until it gives none, several at a time.
/// A task is asked for when a child can be started for it. Both functions run on the calling thread; what
/// they throw ends all children and passes on. What a child started itself does not outlive it.
void runChildren(const std::function<std::optional<ChildTask>()>& nextTask, const ChildLimits& limits);

/// In the child, before anything else: opens the report, and sees to it that a crash ends the process at
/// once, without a dialog or a core file, and that it does not outlive its parent.
void prepareAsChild();

/// In the child: appends one line to the report. It arrives even if the process dies right after.
void writeReportLine(const std::string& line);

/// In the child: ends the process at once; no library is told.
[[noreturn]] void endChild(int exitCode);

}  // namespace qvp
