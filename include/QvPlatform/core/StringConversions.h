#pragma once

#include <QvPlatform/core/Export.h>

#include <string>
#include <string_view>

/// The one conversion pair between narrow text, which is UTF-8 at every interface, and wide text, which
/// is the path types' storage: UTF-16 on Windows, UTF-32 on Linux. Both functions may be called from any
/// thread and accept any text.
namespace QvPlatform::StringConversions {

/// UTF-8 to wide. A byte that does not decode becomes U+DC80 plus its low seven bits on Linux, so that
/// every file name comes back as it was; on Windows it becomes U+FFFD, but the three-byte form of a lone
/// surrogate gives that surrogate.
QV_API std::wstring toWide(std::string_view narrow);

/// Wide to UTF-8, the inverse of `toWide`. A lone surrogate takes three bytes on Windows; on Linux the
/// escapes of `toWide` give their byte back and any other value that is no character becomes U+FFFD.
QV_API std::string toNarrow(std::wstring_view wide);

}  // namespace QvPlatform::StringConversions
