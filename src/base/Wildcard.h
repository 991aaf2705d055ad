#pragma once

#include "base/AsciiCase.h"

#include <cstddef>
#include <string_view>

namespace base {

/// The first offset at or after `from` where the text can match a pattern that begins with `wanted`.
template <typename Fold>
std::size_t nextCandidate(char wanted, std::string_view text, std::size_t from, Fold fold) {
    if (wanted == '?' || wanted == '*') return from;
    while (from < text.size() && fold(text[from]) != fold(wanted)) ++from;
    return from;
}

/// As `matchesWildcard`, but compares characters after applying `fold`. What follows the last "*" can only
/// match the end of the text, so most texts are refused there. Only the last "*" before is ever tried again:
/// anything that an earlier "*" could match in addition, the last one can match too.
template <typename Fold>
bool matchesFolded(std::string_view pattern, std::string_view text, Fold fold) {
    const auto matches = [&](char wanted, char c) { return wanted == '?' || fold(wanted) == fold(c); };
    while (!pattern.empty() && pattern.back() != '*') {
        if (text.empty() || !matches(pattern.back(), text.back())) return false;
        pattern.remove_suffix(1);
        text.remove_suffix(1);
    }
    if (pattern.empty()) return text.empty();
    std::size_t p = 0;
    std::size_t t = 0;
    std::size_t afterStar = std::string_view::npos;
    std::size_t takenByStar = 0;  // end of the text matched by the last star
    while (t < text.size()) {
        if (pattern[p] == '*') {
            afterStar = ++p;
            if (p == pattern.size()) return true;
            t = takenByStar = nextCandidate(pattern[p], text, t, fold);
        } else if (matches(pattern[p], text[t])) {
            ++p;
            ++t;
        } else if (afterStar != std::string_view::npos) {
            p = afterStar;
            t = takenByStar = nextCandidate(pattern[p], text, takenByStar + 1, fold);
        } else {
            return false;
        }
    }
    return pattern.find_first_not_of('*', p) == std::string_view::npos;
}

/// True if the whole text matches the pattern, in which "*" matches any number of bytes and "?" exactly one.
inline bool matchesWildcard(std::string_view pattern, std::string_view text, bool caseSensitive) {
    return caseSensitive ? matchesFolded(pattern, text, [](char c) { return c; })
                         : matchesFolded(pattern, text, [](char c) { return foldCase(c); });
}

}  // namespace base
