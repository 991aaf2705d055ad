#pragma once

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>

namespace qvp {

/// The beginning and the end of a text that comes in pieces: a program says first what it does and last why
/// it failed.
class KeptOutput {
public:
    static constexpr std::size_t kMost = std::size_t{32} << 10U;  ///< bytes of each

    void append(std::string_view piece) {
        const std::size_t first = std::min(piece.size(), kMost - begin_.size());
        begin_.append(piece.substr(0, first));
        end_.append(piece.substr(first));
        if (end_.size() <= 2 * kMost) return;
        dropped_ += end_.size() - kMost;
        end_.erase(0, end_.size() - kMost);
    }

    std::string take() {
        if (end_.size() > kMost) {
            dropped_ += end_.size() - kMost;
            end_.erase(0, end_.size() - kMost);
        }
        if (dropped_ > 0) begin_ += "\n[" + std::to_string(dropped_) + " bytes omitted]\n";
        return std::move(begin_) + end_;
    }

private:
    std::string begin_;
    std::string end_;
    std::size_t dropped_ = 0;
};

}  // namespace qvp
