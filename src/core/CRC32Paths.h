#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

/// The implementations that update a CRC-32 register. All give the same result, for any number of bytes at
/// any alignment. `crc` is the register, not the finished checksum.
namespace Qv::detail {

using CrcPath = std::uint32_t (*)(std::uint32_t crc, const unsigned char* bytes, std::size_t count);

/// Processes sixteen bytes per step, with one table for each byte.
std::uint32_t crcByTables(std::uint32_t crc, const unsigned char* bytes, std::size_t count);

/// Carry-less multiplication in registers of that many bits; null if the processor or the operating system
/// does not support it.
CrcPath crcByFolding128();
CrcPath crcByFolding256();
CrcPath crcByFolding512();

/// All implementations, the fastest first; the last one is never null.
inline std::array<CrcPath, 4> crcPaths() {
    return {crcByFolding512(), crcByFolding256(), crcByFolding128(), crcByTables};
}

}  // namespace Qv::detail
