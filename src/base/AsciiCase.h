#pragma once

#include <algorithm>
#include <string>
#include <string_view>

/// Case folding for the whole library: ASCII letters to lower case, independent of the locale.
namespace base {

template <typename Char>
constexpr Char foldCase(Char c) {
    return c >= Char{'A'} && c <= Char{'Z'} ? static_cast<Char>(c + ('a' - 'A')) : c;
}

template <typename Char>
std::basic_string<Char> foldedCase(std::basic_string<Char> text) {
    std::transform(text.begin(), text.end(), text.begin(), foldCase<Char>);
    return text;
}

inline bool equalFolded(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](char x, char y) { return foldCase(x) == foldCase(y); });
}

}  // namespace base
