#pragma once

#include "child/Child.h"

#include <chrono>
#include <memory>
#include <string>
#include <variant>
#include <vector>

namespace qvp {

/// This program, run again. Destroying it ends the process and all that it started.
class RunningChild {
public:
    static constexpr std::size_t kOutputKept = std::size_t{64} << 10U;
    static constexpr std::size_t kReportKept = std::size_t{16} << 20U;

    /// The child, or why there is none.
    static std::variant<RunningChild, ChildEnd> start(const std::vector<std::string>& arguments);
    RunningChild(RunningChild&& other) noexcept;
    RunningChild& operator=(RunningChild&& other) noexcept;
    RunningChild(const RunningChild&) = delete;
    RunningChild& operator=(const RunningChild&) = delete;
    ~RunningChild();

    /// Returns when one of at most `kMost` has ended, or has said something, or the time is over.
    static void wait(const std::vector<RunningChild*>& children, std::chrono::milliseconds time);
    static constexpr unsigned kMost = 64;

    /// Whether it had ended when `wait` last looked.
    bool hasEnded() const;
    /// How it ended; ends it now, as one that took too long, unless it `hasEnded`.
    ChildEnd end();

private:
    struct Record;
    explicit RunningChild(std::unique_ptr<Record> record);

    std::unique_ptr<Record> record_;
};

}  // namespace qvp
