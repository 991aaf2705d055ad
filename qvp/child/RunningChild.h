#pragma once

#include "child/Child.h"

#include <chrono>
#include <memory>
#include <string>
#include <variant>
#include <vector>

namespace qvp {

/// The program `hostProgram`, run as a child. The destructor ends the child and all processes that it
/// started.
class RunningChild {
public:
    static constexpr std::size_t kOutputKept = std::size_t{64} << 10U;

    /// The child, or the reason why it could not be started.
    static std::variant<RunningChild, ChildEnd> start(const std::vector<std::string>& arguments);
    RunningChild(RunningChild&& other) noexcept;
    RunningChild& operator=(RunningChild&& other) noexcept;
    RunningChild(const RunningChild&) = delete;
    RunningChild& operator=(const RunningChild&) = delete;
    ~RunningChild();

    /// Blocks until one of at most `kMost` children has ended or written something, or the time is over.
    static void wait(const std::vector<RunningChild*>& children, std::chrono::milliseconds time);
    static constexpr unsigned kMost = 64;

    /// The processor time that it has used, 0 if that is unknown.
    std::chrono::milliseconds processorTime() const;
    /// True if it had ended at the last call of `wait`.
    bool hasEnded() const;
    /// How it ended. Unless it `hasEnded`, ends it now, as timed out.
    ChildEnd end();

private:
    struct Record;
    explicit RunningChild(std::unique_ptr<Record> record);

    std::unique_ptr<Record> record_;
};

}  // namespace qvp
