#pragma once

#include "base/AsciiCase.h"

#include <cstddef>
#include <string_view>

namespace base {

/// The first place from `from` on where a text can go on with a pattern that begins with `wanted`.
template <typename Fold>
std::size_t placeFor(char wanted, std::string_view text, std::size_t from, Fold fold) {
    if (wanted == '?' || wanted == '*') return from;
    while (from < text.size() && fold(text[from]) != fold(wanted)) ++from;
    return from;
}

/// As `matchesWildcard`, with letters compared as `fold` leaves them. A later "*" can take over whatever an
/// earlier one would have to give back, so only the last one is ever tried again.
template <typename Fold>
bool matchesFolded(std::string_view pattern, std::string_view text, Fold fold) {
    std::size_t p = 0;
    std::size_t t = 0;
    std::size_t afterStar = std::string_view::npos;
    std::size_t takenByStar = 0;  // the end of what the last star stands for
    while (t < text.size()) {
        if (p < pattern.size() && pattern[p] == '*') {
            afterStar = ++p;
            if (p == pattern.size()) return true;  // so that something stands at `afterStar`
            t = takenByStar = placeFor(pattern[p], text, t, fold);
        } else if (p < pattern.size() && (pattern[p] == '?' || fold(pattern[p]) == fold(text[t]))) {
            ++p;
            ++t;
        } else if (afterStar != std::string_view::npos) {
            p = afterStar;
            t = takenByStar = placeFor(pattern[p], text, takenByStar + 1, fold);
        } else {
            return false;
        }
    }
    return pattern.find_first_not_of('*', p) == std::string_view::npos;
}

/// Whether the whole text matches a pattern of bytes in which "*" stands for any bytes or none and "?" for
/// exactly one.
inline bool matchesWildcard(std::string_view pattern, std::string_view text, bool caseSensitive) {
    return caseSensitive ? matchesFolded(pattern, text, [](char c) { return c; })
                         : matchesFolded(pattern, text, foldCase<char>);
}

}  // namespace base
