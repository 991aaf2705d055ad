#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace base {

inline constexpr std::string_view kHexadecimalDigits = "0123456789abcdef";
inline constexpr std::string_view kUpperHexadecimalDigits = "0123456789ABCDEF";

/// At least `least` digits, with zeros in front.
inline std::string hexadecimal(std::uint64_t number, std::size_t least = 1,
                               std::string_view digits = kHexadecimalDigits) {
    std::string text;
    for (; number != 0 || text.size() < least; number >>= 4U) text += digits[number & 15U];
    std::reverse(text.begin(), text.end());
    return text;
}

/// Two digits for each byte.
inline std::string hexadecimalBytes(std::string_view bytes) {
    std::string text;
    for (const char byte : bytes) text += hexadecimal(static_cast<unsigned char>(byte), 2);
    return text;
}

}  // namespace base
