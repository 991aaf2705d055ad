#pragma once

#include <QvPlatform/core/Export.h>

namespace Qv {

/// Computes the CRC-32 of IEEE 802.3 piece by piece: pass 0 for the first piece, then each result for the
/// next.
///
///     int crc = 0;
///     for (const Piece& piece : pieces) crc = Qv::calculateCRC32(piece.data, piece.length, crc);
///
/// If `length` is 0 or negative, returns `crc`, and `data` may be null. Any thread.
QV_API int calculateCRC32(const void* data, int length, int crc);

}  // namespace Qv
