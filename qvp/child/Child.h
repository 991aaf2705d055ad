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
    int code = 0;      ///< exit code; signal number or exception code; the system's error number
    std::string text;  ///< "SIGSEGV (segmentation fault)", "access violation (0xC0000005)", the system's text
    std::string report;         ///< the lines that the child wrote to its report
    std::string output;         ///< what the child printed on both streams; of more than 64 KiB, both ends
    bool calledExit = false;    ///< it ran its exit handlers, as `exit` does and `_exit` does not
    bool isReportFull = false;  ///< lines of the report were lost
};

struct ChildLimits {
    std::chrono::milliseconds time{10000};  ///< per child; then the child and what it started are ended
    unsigned parallel = 0;                  ///< working children at a time; 0 means one per processor
};

/// The memory that a child may allocate, in bytes.
inline constexpr std::size_t kMemoryLimit = std::size_t{4} << 30U;

/// The arguments of one child, and the function to call when it has ended.
struct ChildTask {
    std::vector<std::string> arguments;
    std::function<void(ChildEnd)> onEnd;
};

/// The program that runs plugins' code, `qvp-host`: next to this program, else where the package installs it.
std::string hostProgram();

/// Runs `hostProgram` for each task that `nextTask` returns, several at a time, until it returns none and all
/// children have ended. A child that only waits makes room for another one. `nextTask` is called when another
/// child can be started, and once more after each end if it had returned none.
/// Both functions run on the calling thread; an exception from them ends all children and propagates.
/// Processes that a child started do not outlive it.
void runChildren(const std::function<std::optional<ChildTask>()>& nextTask, const ChildLimits& limits);

/// In the child, before anything else: opens the report. Returns false if this process is not the child of
/// `runChildren`. From then on a crash ends the process at once, without a dialog or a core file, and the
/// child does not outlive its parent. On Linux it gets at most `kMemoryLimit` more memory; on Windows its job
/// is limited.
bool prepareAsChild();

/// In the child, any thread: appends one line to the report. The parent gets it even if the process ends
/// right after.
void writeReportLine(const std::string& line);

/// In the child: ends the process at once, without calling destructors or exit handlers.
[[noreturn]] void endChild(int exitCode);

}  // namespace qvp
