#pragma once

#include <QvPlatform/core/Export.h>

#include <cstdarg>
#include <string>

/// Leveled logging with printf-style formats.
///
///     Qv::LogSetLevel(Qv::kLogLevelInfo);
///     Qv::LogWarn("solver: %d bodies asleep\n", asleep);
///
/// The default handler writes "time - LEVEL: message" to the standard error stream and, if one is open, to
/// the log file. Traps: with the default handler `LogError` throws `std::runtime_error` with the line as its
/// text, and `LogFatal` ends the process with status 1. The threshold applies to the default handler only: a
/// custom handler receives every level. Any thread may log; one thread sets threshold, filter and handler at
/// start-up.
namespace Qv {

/// Severity; a smaller number is more severe. As a threshold: messages with a larger number are dropped.
enum eLogLevel : int {
    kLogLevelNone = 0,
    kLogLevelFatal = 1,
    kLogLevelError = 2,
    kLogLevelWarn = 3,
    kLogLevelInfo = 4,
    kLogLevelDebug = 5,
    kLogLevelTrace = 6
};

/// A message's unformatted arguments. A handler that formats twice must use a `va_copy`.
using LogArgs = va_list;

/// Receives a message. `format` is null only if the caller passed null; `args` has not been read yet. Several
/// threads may call it at once.
using LogHandler = void (*)(eLogLevel level, const char* const format, LogArgs args);

/// Sets the default handler's threshold, initially `kLogLevelDebug`. `kLogLevelNone` silences everything:
/// errors do not throw and fatal messages do not end the process.
QV_API void LogSetLevel(eLogLevel level);
QV_API eLogLevel LogGetLevel();

/// Sets the age in days, initially 10.0. Opening a log file purges log files older than this.
QV_API void LogSetExpiration(double days);
QV_API double LogGetExpiration();

/// Sets an ECMAScript regular expression that filters warnings, infos, debug and trace messages: a message
/// passes if the first 4999 bytes of its formatted text contain a match. An empty filter passes all messages.
/// The expression is not checked here: if it is invalid, the four log functions throw `std::regex_error`, and
/// `std::bad_alloc` if memory runs out. It is compiled again for every message, so use it for diagnosis only.
///
/// Matching runs on the thread that logs and uses at most 384 KiB of its stack. Beyond these limits the four
/// functions also throw `std::regex_error`:
/// - 1000 characters; a part repeated by `{n}` or `{n,m}` counts one time more than the larger number
///   (`error_complexity`);
/// - 100 nested groups (`error_complexity`);
/// - with a back reference, 1000 for E + L * M (`error_stack`): E is the length of the expression, L that of
///   its longest part with `*`, `+` or `{n,}`, M that of the message. For example, `(a+)\1` accepts messages
///   of up to 497 bytes.
///
/// The time grows with both lengths. With a lookahead it is quadratic in the length of the message; with
/// nested lookaheads or back references it is exponential in the worst case.
QV_API void LogSetRegExFilter(const std::string& filter);
/// The filter's text. The reference stays valid; the text changes with the next `LogSetRegExFilter`.
QV_API const std::string& LogGetRegExFilter();

/// Installs a handler and returns the previous one. If `handler` is null, changes nothing and returns the
/// current handler.
QV_API LogHandler LogSetHandler(LogHandler handler);

QV_API void LogFatal(const char* const format, ...) QV_PRINTF_FORMAT(1, 2);
QV_API void LogError(const char* const format, ...) QV_PRINTF_FORMAT(1, 2);
QV_API void LogWarn(const char* const format, ...) QV_PRINTF_FORMAT(1, 2);
QV_API void LogInfo(const char* const format, ...) QV_PRINTF_FORMAT(1, 2);
QV_API void LogDebug(const char* const format, ...) QV_PRINTF_FORMAT(1, 2);
QV_API void LogTrace(const char* const format, ...) QV_PRINTF_FORMAT(1, 2);

}  // namespace Qv
