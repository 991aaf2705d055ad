#pragma once

#include <cstddef>
#include <string>

/// The limits for searching and converting text: vectors of 32 bytes, and room for the result from the start.
namespace bench {

/// Defined in another file, so that no side is compiled for these alone.
extern const std::string kDelimiters;
extern const std::string kFrom;
extern const std::string kTo;

/// True if the processor can run the functions below.
bool hasVectors();

/// The number of pieces between delimiters, seven bytes on the average. The text's size is a multiple of 64.
std::size_t splitByVectors(const std::string& text);

/// The size of the text after one pass that replaces `kFrom` by `kTo`.
std::size_t replaceByVectors(const std::string& text);

/// The size of an ASCII text after one pass that checks it and makes 32-bit characters of it, or bytes again;
/// 0 if it is not ASCII. `wide` has the bytes of the wide text. The number of characters is a multiple of 32.
std::size_t widenByVectors(const std::string& text);
std::size_t narrowByVectors(const std::string& wide);

}  // namespace bench
