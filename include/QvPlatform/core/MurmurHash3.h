#pragma once

#include <QvPlatform/core/Export.h>

/// MurmurHash3, Austin Appleby's fast hash functions. They are not cryptographic. Results equal those of the
/// published implementation bit for bit. A negative length counts as 0. If the length is 0, `key` may be
/// null. Any alignment; any thread.
extern "C" {

/// Writes 4 bytes to `out`.
QV_API void MurmurHash3_x86_32(const void* key, int len, unsigned int seed, void* out);
/// Writes 16 bytes, four 32-bit words in the processor's byte order.
QV_API void MurmurHash3_x86_128(const void* key, int len, unsigned int seed, void* out);
/// Writes 16 bytes, two 64-bit words in the processor's byte order.
QV_API void MurmurHash3_x64_128(const void* key, int len, unsigned int seed, void* out);
}
