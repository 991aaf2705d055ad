#pragma once

#include <QvPlatform/core/Export.h>

/// Reports an error naming this file and line when `condition` is false; the message and its arguments
/// are printf-style. Stays in release builds; a true condition costs one branch.
///
///     QV_ASSERT(count > 0, "expected at least one body, got %d", count);
#define QV_ASSERT(condition, ...)                                                               \
    do {                                                                                        \
        if (!(condition)) ::Qv::QvAssertImplementation(__FILE__, __LINE__, false, __VA_ARGS__); \
    } while (false)

namespace Qv {

/// The target of `QV_ASSERT`. With a false condition it hands "name: line: message" at error level
/// straight to the log handler, past the filter; the default handler writes the line and throws
/// `std::runtime_error`. `file` is reduced to its last component. A null `file` or `format` counts as
/// empty. Any thread.
QV_API void QvAssertImplementation(const char* file, unsigned int line, bool condition,
                                   const char* const format, ...) QV_PRINTF_FORMAT(4, 5);

}  // namespace Qv
