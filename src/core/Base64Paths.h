#pragma once

#include <array>
#include <cstddef>

namespace Qv::detail {

/// An implementation of base64, without what happens at the end of a text. Neither function writes more than
/// the result of what it is given.
struct Base64Path {
    /// Encodes groups of three bytes. Returns how many bytes it took, a multiple of three; it may leave some
    /// at the end.
    std::size_t (*encode)(const char* bytes, std::size_t count, char* text);
    /// Decodes groups of four characters, at most up to the first one with a foreign character. Returns how
    /// many characters it took, a multiple of four; it may leave some at the end.
    std::size_t (*decode)(const char* text, std::size_t count, char* bytes);
};

/// Looks up each character or pair of characters; leaves nothing that it could take.
extern const Base64Path kBase64ByTables;

/// 32 characters per step; null if the processor or the operating system does not support it.
const Base64Path* base64ByAvx2();

/// All implementations, the fastest first; the last one is never null.
inline std::array<const Base64Path*, 2> base64Paths() { return {base64ByAvx2(), &kBase64ByTables}; }

}  // namespace Qv::detail
