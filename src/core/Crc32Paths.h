#pragma once

#include <cstddef>
#include <cstdint>

/// The ways in which the CRC-32 register takes bytes. All give the same, for any number of bytes at any
/// alignment; `crc` is the register, not the finished checksum.
namespace Qv::detail {

/// Sixteen bytes a step, by one table for each.
std::uint32_t crcByTables(std::uint32_t crc, const unsigned char* bytes, std::size_t count);

/// By carry-less multiplication. Only where `canFold`.
std::uint32_t crcByFolding(std::uint32_t crc, const unsigned char* bytes, std::size_t count);
bool canFold();

}  // namespace Qv::detail
