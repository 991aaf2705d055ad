#include <QvPlatform/core/CRC32.h>

#include "core/Crc32Paths.h"

namespace Qv {

int calculateCRC32(const void* data, int length, int crc) {
    if (length <= 0) return crc;
    static const auto take = detail::canFold() ? detail::crcByFolding : detail::crcByTables;
    const auto* const bytes = static_cast<const unsigned char*>(data);
    const std::uint32_t before = ~static_cast<std::uint32_t>(crc);
    return static_cast<int>(~take(before, bytes, static_cast<std::size_t>(length)));
}

}  // namespace Qv
