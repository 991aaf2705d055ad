#pragma once

#include <QvPlatform/core/Export.h>

/// If `condition` is false, reports an error with this file and line; the message and its arguments are
/// printf-style. Active in release builds too; a true condition costs one branch.
///
///     QV_ASSERT(count > 0, "expected at least one body, got %d", count);
#define QV_ASSERT(condition, ...)                                                               \
    do {                                                                                        \
        if (!(condition)) ::Qv::QvAssertImplementation(__FILE__, __LINE__, false, __VA_ARGS__); \
    } while (false)

namespace Qv {

/// Implements `QV_ASSERT`. If `condition` is false, passes "name: line: message" at error level directly to
/// the log handler, bypassing the filter; the default handler writes the line and throws
/// `std::runtime_error`. "name" is the last component of `file`. A null `file` or `format` counts as empty.
/// Any thread.
QV_API void QvAssertImplementation(const char* file, unsigned int line, bool condition,
                                   const char* const format, ...) QV_PRINTF_FORMAT(4, 5);

}  // namespace Qv
