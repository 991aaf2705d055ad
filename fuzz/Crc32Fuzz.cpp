#include <QvPlatform/core/CRC32.h>

#include "core/CRC32Paths.h"

#include "Require.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;

// The definition: a table of what a byte becomes, and one step a byte.
std::uint32_t referenceRegister(std::uint32_t crc, const Bytes& bytes) {
    static const auto table = [] {
        std::array<std::uint32_t, 256> entries{};
        for (std::uint32_t i = 0; i < entries.size(); ++i) {
            entries[i] = i;
            for (int bit = 0; bit < 8; ++bit)
                entries[i] = entries[i] >> 1U ^ ((entries[i] & 1U) != 0 ? 0xEDB88320 : 0);
        }
        return entries;
    }();
    for (const unsigned char byte : bytes) crc = table[(crc ^ byte) & 0xFFU] ^ crc >> 8U;
    return crc;
}

// Calls `take` with pieces, whose lengths are the bytes of the input.
template <typename Take>
void cut(const Bytes& bytes, std::size_t scale, Take take) {
    for (std::size_t done = 0, next = 0; done < bytes.size(); ++next) {
        const std::size_t length = std::min(bytes[next] % 64 * scale + 1, bytes.size() - done);
        take(&bytes[done], length);
        done += length;
    }
}

}  // namespace

// The first byte scales the pieces, the second tells how often the rest is repeated.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2) return 0;
    const std::size_t scale = 4 + data[0] % 16;
    Bytes bytes;
    for (int i = 0; i <= data[1] % 3; ++i) bytes.insert(bytes.end(), data + 2, data + size);
    const std::uint32_t expected = referenceRegister(0xFFFFFFFF, bytes);

    int crc = 0;
    cut(bytes, scale, [&](const unsigned char* piece, std::size_t length) {
        crc = Qv::calculateCRC32(piece, static_cast<int>(length), crc);
    });
    fuzz::require(static_cast<std::uint32_t>(crc) == ~expected);
    for (const auto path : Qv::detail::crcPaths()) {
        if (!path) continue;
        std::uint32_t value = 0xFFFFFFFF;
        cut(bytes, scale,
            [&](const unsigned char* piece, std::size_t length) { value = path(value, piece, length); });
        fuzz::require(value == expected);
    }
    return 0;
}
