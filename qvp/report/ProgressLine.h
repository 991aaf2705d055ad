#pragma once

#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <ostream>
#include <thread>

namespace qvp {

/// One line on a terminal that appears after half a second, says how far the work is, and is erased by the
/// destructor. Writes on a thread of its own, so nothing else may write to `terminal` meanwhile.
class ProgressLine {
public:
    explicit ProgressLine(std::ostream& terminal);
    ProgressLine(const ProgressLine&) = delete;
    ProgressLine& operator=(const ProgressLine&) = delete;
    ~ProgressLine();

    /// From any thread.
    void set(std::size_t done, std::size_t all);

private:
    void write();

    std::ostream& terminal_;
    std::mutex mutex_;
    std::condition_variable stop_;
    bool isOver_ = false;
    std::size_t done_ = 0;
    std::size_t all_ = 0;
    std::thread thread_;
};

}  // namespace qvp
