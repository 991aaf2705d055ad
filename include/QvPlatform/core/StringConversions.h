#pragma once

#include <QvPlatform/core/Export.h>

#include <string>
#include <string_view>

/// Converts between narrow text, which is UTF-8 at every interface, and wide text, which the path types
/// store: UTF-16 on Windows, UTF-32 on Linux. Both functions accept any text. Any thread.
namespace QvPlatform::StringConversions {

/// Converts UTF-8 to wide text. On Linux an invalid byte becomes U+DC80 plus its low seven bits, so that
/// every file name survives a round trip. On Windows an invalid byte becomes U+FFFD, but the three-byte form
/// of a lone surrogate gives that surrogate.
QV_API std::wstring toWide(std::string_view narrow);

/// Converts wide text to UTF-8, the inverse of `toWide`. On Windows a lone surrogate takes three bytes. On
/// Linux an escape made by `toWide` gives its byte back, and any other value that is not a character becomes
/// U+FFFD.
QV_API std::string toNarrow(std::wstring_view wide);

}  // namespace QvPlatform::StringConversions
