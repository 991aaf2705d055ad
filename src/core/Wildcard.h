#pragma once

#include "core/AsciiCase.h"

#include <string>
#include <string_view>
#include <utility>

namespace Qv::detail {

/// A pattern of bytes in which "*" stands for any bytes or none and "?" for exactly one.
class Wildcard {
public:
    Wildcard(std::string pattern, bool caseSensitive)
        : pattern_(caseSensitive ? std::move(pattern) : foldedCase(std::move(pattern))),
          caseSensitive_(caseSensitive) {}

    /// Whether the whole text matches.
    bool matches(std::string_view text) const {
        return caseSensitive_ ? matches(text, [](char c) { return c; }) : matches(text, foldCase<char>);
    }

private:
    /// A later "*" can take over whatever an earlier one would have to give back, so only the last one is
    /// ever tried again.
    template <typename Fold>
    bool matches(std::string_view text, Fold fold) const {
        const std::string_view pattern = pattern_;
        std::size_t p = 0;
        std::size_t t = 0;
        std::size_t afterStar = std::string_view::npos;
        std::size_t takenByStar = 0;  // the end of what the last star stands for
        while (t < text.size()) {
            if (p < pattern.size() && pattern[p] == '*') {
                afterStar = ++p;
                takenByStar = t;
            } else if (p < pattern.size() && (pattern[p] == '?' || pattern[p] == fold(text[t]))) {
                ++p;
                ++t;
            } else if (afterStar != std::string_view::npos) {
                p = afterStar;
                t = ++takenByStar;
            } else {
                return false;
            }
        }
        return pattern.find_first_not_of('*', p) == std::string_view::npos;
    }

    std::string pattern_;
    bool caseSensitive_;
};

}  // namespace Qv::detail
