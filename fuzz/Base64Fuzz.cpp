#include <QvPlatform/core/StringUtils.h>

#include "Require.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

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

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace QvSim::StringUtils;
    const std::string text(data, data + size);
    fuzz::require(base64Decode(text) == referenceDecode(text));
    const std::string encoded = base64Encode(text);
    fuzz::require(encoded.size() == (size + 2) / 3 * 4);
    fuzz::require(base64Decode(encoded) == text);
    return 0;
}
