#pragma once

#include <algorithm>
#include <string>

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

}  // namespace base
