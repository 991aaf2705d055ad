#pragma once

#include <string>
#include <string_view>
#include <vector>

/// Base64 bit by bit, to compare the implementations with.
namespace support {

inline constexpr std::string_view kBase64Alphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

/// Up to the first foreign character.
inline std::string decodedByBits(const std::string& text) {
    std::string bytes;
    unsigned int pending = 0;
    unsigned int count = 0;
    for (const char c : text) {
        const auto value = kBase64Alphabet.find(c);
        if (value == std::string_view::npos) break;
        for (unsigned int bit = 6; bit-- != 0;) {
            pending = (pending << 1U | (static_cast<unsigned int>(value) >> bit & 1U)) & 0xFFU;
            if (++count % 8 == 0) bytes += static_cast<char>(pending);
        }
    }
    return bytes;
}

/// What a function of a path makes of `input`, in memory of exactly the sizes that it may use. `require` is
/// called with false if the function takes a part of a group or more than there is.
template <typename Function, typename Require>
std::string resultOfPath(Function function, const std::string& input, std::size_t inGroup,
                         std::size_t outGroup, Require require) {
    const std::vector<char> in(input.begin(), input.end());
    std::vector<char> out(input.size() / inGroup * outGroup);
    const std::size_t taken = function(in.data(), in.size(), out.data());
    require(taken % inGroup == 0 && taken <= in.size());
    return {out.data(), taken / inGroup * outGroup};
}

}  // namespace support
