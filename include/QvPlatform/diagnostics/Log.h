#pragma once

#include <QvPlatform/core/Export.h>

#include <cstdarg>
#include <string>

/// Leveled logging with printf-style formats.
///
///     Qv::LogSetLevel(Qv::kLogLevelInfo);
///     Qv::LogWarn("solver: %d bodies asleep\n", asleep);
///
/// The default handler writes "time - LEVEL: message" to the standard error stream and to the log file
/// when one is open. Traps: under it `LogError` throws `std::runtime_error` carrying the line and
/// `LogFatal` ends the process with status 1. The threshold belongs to the default handler: a handler of
/// your own receives every level. Any thread may log; threshold, filter and handler are set up by one
/// thread at start-up.
namespace Qv {

/// Severity; a smaller number is more severe. Also the threshold: what lies above it is dropped.
enum eLogLevel : int {
    kLogLevelNone = 0,
    kLogLevelFatal = 1,
    kLogLevelError = 2,
    kLogLevelWarn = 3,
    kLogLevelInfo = 4,
    kLogLevelDebug = 5,
    kLogLevelTrace = 6
};

/// A message's arguments, not yet formatted. A handler that formats twice works on a `va_copy`.
using LogArgs = va_list;

/// Receives a message. `format` may be null only if the caller passed null; `args` is fresh. May be
/// called from several threads at once.
using LogHandler = void (*)(eLogLevel level, const char* const format, LogArgs args);

/// Sets the default handler's threshold, initially `kLogLevelDebug`. `kLogLevelNone` silences
/// everything, the throw of an error and the exit of a fatal message included.
QV_API void LogSetLevel(eLogLevel level);
QV_API eLogLevel LogGetLevel();

/// Sets the age in days, initially 10.0, after which log files are purged when a log file is opened.
QV_API void LogSetExpiration(double days);
QV_API double LogGetExpiration();

/// Lets only those warnings, infos, debug and trace messages through whose formatted text (its first
/// 4999 bytes) contains a match of this ECMAScript regular expression; an empty text lets all through.
/// The text is not checked here: with an invalid expression the four functions throw
/// `std::regex_error`. The expression is compiled for every message: a tool for diagnosis.
///
/// It is matched on the thread that logs and takes at most 384 KiB of its stack. Beyond these limits the
/// four functions throw `std::regex_error`, too:
/// - 1000 characters; a part repeated by `{n}` or `{n,m}` counts once more often than the larger number says
///   (`error_complexity`);
/// - 100 groups within each other (`error_complexity`);
/// - with a back reference, 1000 for E + L * M (`error_stack`): E is the length of the expression, L that
///   of its longest part with `*`, `+` or `{n,}`, M that of the message. `(a+)\1` takes messages of 497
///   bytes.
///
/// The time grows with both lengths; a lookahead makes it quadratic in the message's, nested ones and back
/// references exponential at worst.
QV_API void LogSetRegExFilter(const std::string& filter);
/// The filter's text; the reference stays valid, its text until the next change.
QV_API const std::string& LogGetRegExFilter();

/// Installs a handler and returns the previous one. A null pointer is refused: nothing changes and the
/// current handler is returned.
QV_API LogHandler LogSetHandler(LogHandler handler);

QV_API void LogFatal(const char* const format, ...) QV_PRINTF_FORMAT(1, 2);
QV_API void LogError(const char* const format, ...) QV_PRINTF_FORMAT(1, 2);
QV_API void LogWarn(const char* const format, ...) QV_PRINTF_FORMAT(1, 2);
QV_API void LogInfo(const char* const format, ...) QV_PRINTF_FORMAT(1, 2);
QV_API void LogDebug(const char* const format, ...) QV_PRINTF_FORMAT(1, 2);
QV_API void LogTrace(const char* const format, ...) QV_PRINTF_FORMAT(1, 2);

}  // namespace Qv
