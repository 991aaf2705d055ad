#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

/// The ways in which the CRC-32 register takes bytes. All give the same, for any number of bytes at any
/// alignment; `crc` is the register, not the finished checksum.
namespace Qv::detail {

using CrcPath = std::uint32_t (*)(std::uint32_t crc, const unsigned char* bytes, std::size_t count);

/// Sixteen bytes a step, by one table for each.
std::uint32_t crcByTables(std::uint32_t crc, const unsigned char* bytes, std::size_t count);

/// By carry-less multiplication in registers of so many bits; null where the processor or the operating
/// system does not offer it.
CrcPath crcByFolding128();
CrcPath crcByFolding256();
CrcPath crcByFolding512();

/// All of them, the fastest first; the last is never null.
inline std::array<CrcPath, 4> crcPaths() {
    return {crcByFolding512(), crcByFolding256(), crcByFolding128(), crcByTables};
}

}  // namespace Qv::detail
