#include <QvPlatform/core/StringUtils.h>

#include "core/Base64Paths.h"

#include "Require.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace {

constexpr std::string_view kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// Bit by bit.
std::string referenceDecode(const std::string& text) {
    std::string bytes;
    unsigned int pending = 0;
    unsigned int count = 0;
    for (const char c : text) {
        const auto value = kAlphabet.find(c);
        if (value == std::string_view::npos) break;
        for (unsigned int bit = 6; bit-- != 0;) {
            pending = (pending << 1U | (static_cast<unsigned int>(value) >> bit & 1U)) & 0xFFU;
            if (++count % 8 == 0) bytes += static_cast<char>(pending);
        }
    }
    return bytes;
}

// What a function of a path makes of the text, in memory of exactly the sizes that it may use.
template <typename Function>
std::string madeBy(Function function, const std::string& input, std::size_t inGroup, std::size_t outGroup) {
    const std::vector<char> in(input.begin(), input.end());
    std::vector<char> out(input.size() / inGroup * outGroup);
    const std::size_t taken = function(in.data(), in.size(), out.data());
    fuzz::require(taken % inGroup == 0 && taken <= in.size());
    return {out.data(), taken / inGroup * outGroup};
}

void checkDecoding(const std::string& text) {
    const std::string expected = referenceDecode(text);
    fuzz::require(QvSim::StringUtils::base64Decode(text) == expected);
    for (const auto* path : Qv::detail::base64Paths())
        if (path) fuzz::require(expected.starts_with(madeBy(path->decode, text, 4, 3)));
}

}  // namespace

// The first byte chooses a character of the encoded text, the second one replaces it.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace QvSim::StringUtils;
    const std::string text(data, data + size);
    checkDecoding(text);
    std::string encoded = base64Encode(text);
    fuzz::require(encoded.size() == (size + 2) / 3 * 4);
    fuzz::require(base64Decode(encoded) == text);
    for (const auto* path : Qv::detail::base64Paths())
        if (path) fuzz::require(encoded.starts_with(madeBy(path->encode, text, 3, 4)));
    if (size < 2) return 0;
    encoded[data[0] % encoded.size()] = static_cast<char>(data[1]);
    checkDecoding(encoded);
    return 0;
}
