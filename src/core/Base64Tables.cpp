// Encoding looks up two output characters at a time. Decoding combines four table entries, one for each
// position in a group; each entry may carry the mark of a foreign character.

#include "core/Base64Paths.h"

#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace Qv::detail {
namespace {

static_assert(std::endian::native == std::endian::little, "words are stored as they lie in memory");

constexpr std::string_view kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::uint32_t kForeign = 0x80000000;

// The two characters for each twelve-bit value.
constexpr auto kPairs = [] {
    std::array<std::uint16_t, 4096> pairs{};
    for (std::size_t i = 0; i < pairs.size(); ++i) {
        const auto first = static_cast<unsigned char>(kAlphabet[i >> 6U]);
        const auto second = static_cast<unsigned char>(kAlphabet[i & 63U]);
        pairs[i] = static_cast<std::uint16_t>(first | second << 8U);
    }
    return pairs;
}();

constexpr std::uint32_t reversedBytes(std::uint32_t bits) {
    return (bits & 0xFFU) << 16U | (bits & 0xFF00U) | bits >> 16U;
}

// The value of each character, at its position in the three bytes of a group.
using PlaceTable = std::array<std::uint32_t, 256>;
constexpr auto kPlaces = [] {
    std::array<PlaceTable, 4> places{};
    for (unsigned int place = 0; place < 4; ++place) {
        places[place].fill(kForeign);
        for (std::uint32_t value = 0; value < 64; ++value)
            places[place][static_cast<unsigned char>(kAlphabet[value])] =
                reversedBytes(value << (18U - 6U * place));
    }
    return places;
}();

std::uint32_t byteAt(const char* bytes, std::size_t index) {
    return static_cast<unsigned char>(bytes[index]);
}

void encodeGroup(const char* bytes, char* out) {
    const std::uint32_t bits = byteAt(bytes, 0) << 16U | byteAt(bytes, 1) << 8U | byteAt(bytes, 2);
    const std::uint32_t text = kPairs[bits >> 12U] | std::uint32_t{kPairs[bits & 0xFFFU]} << 16U;
    std::memcpy(out, &text, sizeof text);
}

std::uint32_t wordAt(const char* bytes) {
    return byteAt(bytes, 0) << 24U | byteAt(bytes, 1) << 16U | byteAt(bytes, 2) << 8U | byteAt(bytes, 3);
}

std::uint64_t pairAt(std::uint64_t bits, unsigned int shift) { return kPairs[bits >> shift & 0xFFFU]; }

// The first six of eight bytes.
void encodeTwoGroups(const char* bytes, char* out) {
    const std::uint64_t bits = std::uint64_t{wordAt(bytes)} << 32U | wordAt(bytes + 4);
    const std::uint64_t text =
        pairAt(bits, 52) | pairAt(bits, 40) << 16U | pairAt(bits, 28) << 32U | pairAt(bits, 16) << 48U;
    std::memcpy(out, &text, sizeof text);
}

std::size_t encode(const char* bytes, std::size_t count, char* text) {
    std::size_t rest = count;
    for (; rest >= 8; rest -= 6, bytes += 6, text += 8) encodeTwoGroups(bytes, text);
    for (; rest >= 3; rest -= 3, bytes += 3, text += 4) encodeGroup(bytes, text);
    return count - rest;
}

std::uint32_t groupBits(const char* group) {
    return kPlaces[0][byteAt(group, 0)] | kPlaces[1][byteAt(group, 1)] | kPlaces[2][byteAt(group, 2)] |
           kPlaces[3][byteAt(group, 3)];
}

// Two groups are stored at once, with two bytes too many, as long as a third one follows to replace these.
std::size_t decode(const char* text, std::size_t count, char* bytes) {
    std::size_t rest = count;
    for (; rest >= 12; rest -= 8, text += 8, bytes += 6) {
        const std::uint64_t first = groupBits(text);
        const std::uint64_t second = groupBits(text + 4);
        if (((first | second) & kForeign) != 0) break;
        const std::uint64_t both = first | second << 24U;
        std::memcpy(bytes, &both, sizeof both);
    }
    for (; rest >= 4; rest -= 4, text += 4, bytes += 3) {
        const std::uint32_t bits = groupBits(text);
        if ((bits & kForeign) != 0) break;
        std::memcpy(bytes, &bits, 3);
    }
    return count - rest;
}

}  // namespace

const Base64Path kBase64ByTables{encode, decode};

}  // namespace Qv::detail
