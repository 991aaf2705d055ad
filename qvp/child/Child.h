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
    std::string report;  ///< what the child wrote to its report stream
    std::string output;  ///< what the child printed on both streams, at most 64 KiB
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

/// Runs a process of this program for each task that `nextTask` returns, several at a time, until it returns
/// none. A child that only waits makes room for another one. `nextTask` is called when another child can be
/// started. Both functions run on the calling thread; an exception from them ends all children and
/// propagates. Processes that a child started do not outlive it.
void runChildren(const std::function<std::optional<ChildTask>()>& nextTask, const ChildLimits& limits);

/// In a process that `runChildren` has started to get several children from it: calls `run` with the
/// arguments of each child in a fork of this process, and does not return. In any other process, and on
/// Windows, returns at once.
void serveAsChild(const std::vector<std::string>& arguments, void (*run)(const std::vector<std::string>&));

/// In the child, before anything else: opens the report. From then on a crash ends the process at once,
/// without a dialog or a core file, the child does not outlive its parent, and on Linux it gets at most
/// `kMemoryLimit` more memory; on Windows its job is limited.
void prepareAsChild();

/// In the child: appends one line to the report. The parent gets it even if the process ends right after.
void writeReportLine(const std::string& line);

/// In the child: ends the process at once, without calling destructors or exit handlers.
[[noreturn]] void endChild(int exitCode);

}  // namespace qvp
