#include <QvPlatform/diagnostics/QvAssert.h>

#include "diagnostics/log/LogState.h"

#include <cstdio>
#include <string>
#include <string_view>

namespace Qv {
namespace {

std::string_view lastComponent(std::string_view path) {
    const auto separator = path.find_last_of("/\\");
    return separator == std::string_view::npos ? path : path.substr(separator + 1);
}

// The name becomes part of a format, where a percent sign must be doubled.
std::string escaped(std::string_view name) {
    std::string out;
    for (const char c : name) out.append(c == '%' ? 2 : 1, c);
    return out;
}

std::string assertionFormat(const char* file, unsigned int line, const char* format) {
    char lineText[20];
    std::snprintf(lineText, sizeof lineText, ": %4u: ", line);
    return escaped(lastComponent(file ? file : "")) + lineText + (format ? format : "");
}

}  // namespace

void QvAssertImplementation(const char* file, unsigned int line, bool condition, const char* const format,
                            ...) {
    if (condition) return;
    const std::string text = assertionFormat(file, line, format);
    va_list args;
    va_start(args, format);
    try {
        detail::currentLogHandler()(kLogLevelError, text.c_str(), args);
    } catch (...) {
        va_end(args);
        throw;
    }
    va_end(args);
}

}  // namespace Qv
