#pragma once

#include <QvPlatform/core/Export.h>

namespace Qv {

/// The CRC-32 of IEEE 802.3, in pieces of any size: pass 0 for the first piece and each result for the next.
///
///     int crc = 0;
///     for (const Piece& piece : pieces) crc = Qv::calculateCRC32(piece.data, piece.length, crc);
///
/// Returns `crc` when `length` is not above 0, and then `data` may be null. Any thread.
QV_API int calculateCRC32(const void* data, int length, int crc);

}  // namespace Qv
