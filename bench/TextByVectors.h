#pragma once

#include <cstddef>
#include <string>

/// The limits for searching in text: vectors of 32 bytes, and room for the result from the start.
namespace bench {

/// Defined in another file, so that no side is compiled for these alone.
extern const std::string kDelimiters;
extern const std::string kFrom;
extern const std::string kTo;

/// True if the processor can run the functions below.
bool hasVectors();

/// The number of pieces between delimiters. Knows it beforehand, except in the first call. The text's size is
/// a multiple of 64.
std::size_t splitByVectors(const std::string& text);

/// The size of the text after one pass that replaces `kFrom` by `kTo`.
std::size_t replaceByVectors(const std::string& text);

}  // namespace bench
