#include "core/CRC32Paths.h"

#include <array>
#include <bit>
#include <cstring>

namespace Qv::detail {
namespace {

static_assert(std::endian::native == std::endian::little, "words are read as they lie in memory");

constexpr std::uint32_t kPolynomial = 0xEDB88320;
constexpr std::size_t kStep = 16;

using Table = std::array<std::uint32_t, 256>;

constexpr Table byteTable() {
    Table table{};
    for (std::uint32_t byte = 0; byte < table.size(); ++byte) {
        std::uint32_t value = byte;
        for (int bit = 0; bit < 8; ++bit) value = value >> 1U ^ ((value & 1U) != 0 ? kPolynomial : 0);
        table[byte] = value;
    }
    return table;
}

// The register for a byte followed by 0, 1, 2... zero bytes.
constexpr auto kTables = [] {
    std::array<Table, kStep> tables{};
    tables[0] = byteTable();
    for (std::size_t i = 1; i < kStep; ++i) {
        for (std::size_t byte = 0; byte < 256; ++byte) {
            const std::uint32_t shorter = tables[i - 1][byte];
            tables[i][byte] = tables[0][shorter & 0xFFU] ^ shorter >> 8U;
        }
    }
    return tables;
}();

// The register for eight bytes; `after` is the table for the number of bytes that follow them.
std::uint32_t lookUp(std::uint64_t word, const Table* after) {
    std::uint32_t crc = 0;
    for (std::size_t i = 8; i-- != 0; word >>= 8U) crc ^= after[i][word & 0xFFU];
    return crc;
}

}  // namespace

std::uint32_t crcByTables(std::uint32_t crc, const unsigned char* bytes, std::size_t count) {
    for (; count >= kStep; count -= kStep, bytes += kStep) {
        std::uint64_t words[2];
        std::memcpy(words, bytes, sizeof words);
        crc = lookUp(words[0] ^ crc, &kTables[8]) ^ lookUp(words[1], kTables.data());
    }
    for (; count != 0; --count, ++bytes) crc = kTables[0][(crc ^ *bytes) & 0xFFU] ^ crc >> 8U;
    return crc;
}

}  // namespace Qv::detail
