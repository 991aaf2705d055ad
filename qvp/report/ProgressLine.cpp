#include "report/ProgressLine.h"

#include <chrono>
#include <string>

namespace qvp {
namespace {

constexpr const char* kErase = "\r\033[K";

}  // namespace

ProgressLine::ProgressLine(std::ostream& terminal) : terminal_(terminal), thread_([this] { write(); }) {}

ProgressLine::~ProgressLine() {
    {
        const std::lock_guard lock(mutex_);
        isOver_ = true;
    }
    stop_.notify_one();
    thread_.join();
}

void ProgressLine::set(std::size_t done, std::size_t all) {
    const std::lock_guard lock(mutex_);
    done_ = done;
    all_ = all;
}

void ProgressLine::write() {
    using std::chrono::milliseconds;
    const auto start = std::chrono::steady_clock::now();
    std::unique_lock lock(mutex_);
    const auto isOver = [this] { return isOver_; };
    if (stop_.wait_for(lock, milliseconds(500), isOver)) return;
    do {
        const auto time = std::chrono::steady_clock::now() - start;
        const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(time).count();
        const bool isCounting = done_ < all_;
        terminal_ << kErase
                  << (isCounting
                          ? "Examining plugins: " + std::to_string(done_) + " of " + std::to_string(all_)
                          : std::string("Working"))
                  << ", " << seconds << " s" << std::flush;
    } while (!stop_.wait_for(lock, milliseconds(200), isOver));
    terminal_ << kErase << std::flush;
}

}  // namespace qvp
