// Base64 of RFC 4648, section 4. Encoding looks up two output characters at a time. Decoding combines four
// table entries, one for each position in a group; each entry may carry the mark of a foreign character.

#include <QvPlatform/core/StringUtils.h>

#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace QvSim::StringUtils {
namespace {

constexpr std::string_view kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::uint32_t kForeign = 0x80000000;

// The two characters for each twelve-bit value, in memory order.
constexpr auto kPairs = [] {
    std::array<std::uint16_t, 4096> pairs{};
    for (std::size_t i = 0; i < pairs.size(); ++i) {
        const auto first = static_cast<unsigned char>(kAlphabet[i >> 6U]);
        const auto second = static_cast<unsigned char>(kAlphabet[i & 63U]);
        pairs[i] = std::endian::native == std::endian::little
                       ? static_cast<std::uint16_t>(first | second << 8U)
                       : static_cast<std::uint16_t>(first << 8U | second);
    }
    return pairs;
}();

// The value of each character, shifted to its position in the 24 bits of a group.
using PlaceTable = std::array<std::uint32_t, 256>;
constexpr auto kPlaces = [] {
    std::array<PlaceTable, 4> places{};
    for (unsigned int place = 0; place < 4; ++place) {
        places[place].fill(kForeign);
        for (std::uint32_t value = 0; value < 64; ++value)
            places[place][static_cast<unsigned char>(kAlphabet[value])] = value << (18U - 6U * place);
    }
    return places;
}();

std::uint32_t byteAt(const char* bytes, std::size_t index) {
    return static_cast<unsigned char>(bytes[index]);
}

void encodeGroup(const char* bytes, char* out) {
    const std::uint32_t bits = byteAt(bytes, 0) << 16U | byteAt(bytes, 1) << 8U | byteAt(bytes, 2);
    const std::uint16_t pairs[] = {kPairs[bits >> 12U], kPairs[bits & 0xFFFU]};
    std::memcpy(out, pairs, sizeof pairs);
}

// One or two bytes at the end.
void encodeRest(std::string_view rest, char* out) {
    char padded[3] = {};
    rest.copy(padded, rest.size());
    encodeGroup(padded, out);
    out[3] = '=';
    if (rest.size() == 1) out[2] = '=';
}

std::uint32_t groupBits(const char* group) {
    return kPlaces[0][byteAt(group, 0)] | kPlaces[1][byteAt(group, 1)] | kPlaces[2][byteAt(group, 2)] |
           kPlaces[3][byteAt(group, 3)];
}

void storeBytes(std::uint32_t bits, std::size_t count, char* out) {
    for (std::size_t i = 0; i < count; ++i) out[i] = static_cast<char>(bits >> (16U - 8U * i) & 0xFFU);
}

// Decodes the characters of the last group before the first foreign one. Returns the number of bytes.
std::size_t decodeRest(std::string_view rest, char* out) {
    std::uint32_t bits = 0;
    std::size_t count = 0;
    for (; count < rest.size() && count < 4; ++count) {
        const std::uint32_t value = kPlaces[count][byteAt(rest.data(), count)];
        if (value == kForeign) break;
        bits |= value;
    }
    const std::size_t bytes = count * 6 / 8;
    storeBytes(bits, bytes, out);
    return bytes;
}

}  // namespace

std::string base64Encode(const std::string& bytes) {
    std::string text((bytes.size() + 2) / 3 * 4, '\0');
    char* out = text.data();
    std::string_view rest = bytes;
    for (; rest.size() >= 3; rest.remove_prefix(3), out += 4) encodeGroup(rest.data(), out);
    if (!rest.empty()) encodeRest(rest, out);
    return text;
}

std::string base64Decode(const std::string& text) {
    std::string bytes(text.size() / 4 * 3 + 3, '\0');
    char* out = bytes.data();
    std::string_view rest = text;
    for (; rest.size() >= 4; rest.remove_prefix(4), out += 3) {
        const std::uint32_t bits = groupBits(rest.data());
        if (bits & kForeign) break;
        storeBytes(bits, 3, out);
    }
    out += decodeRest(rest, out);
    bytes.resize(static_cast<std::size_t>(out - bytes.data()));
    return bytes;
}

}  // namespace QvSim::StringUtils
