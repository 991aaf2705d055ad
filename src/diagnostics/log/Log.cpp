// A call passes `lastAudibleLevel` first, then (below an error) the filter, then the handler, on the calling
// thread. No lock is held while the handler runs, so it may log. What it throws reaches the caller.
//
// The setters of threshold, filter and handler update `lastAudibleLevel`: it is the threshold only while the
// default handler is installed and no filter is set; else every level is dispatched. The default handler
// compares the threshold again, writes the line to the error stream and then to the log file, and only then
// throws or exits.
//
// All state is constant-initialized and never destroyed, so static initializers and destructors may log. It
// is atomic except for the filter's text, which must not be set while other threads log.

#include <QvPlatform/diagnostics/Log.h>

#include "diagnostics/log/LogFilter.h"
#include "diagnostics/log/LogLine.h"
#include "diagnostics/log/LogSink.h"
#include "diagnostics/log/LogState.h"
#include "os/OutputStream.h"

#include <atomic>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <stdexcept>

namespace Qv {
namespace {

using detail::LogLine;

void defaultLogHandler(eLogLevel level, const char* const format, LogArgs args);

constinit std::atomic<int> threshold{kLogLevelDebug};
constinit std::atomic<double> expirationDays{10.0};
// A struct, because some compilers warn about a function type as a template argument.
struct InstalledHandler {
    LogHandler function;
};
constinit std::atomic<InstalledHandler> handler{InstalledHandler{defaultLogHandler}};
constinit std::atomic<bool> filtering{false};
// No handler receives messages above this level, so such calls return at once.
constinit std::atomic<int> lastAudibleLevel{kLogLevelDebug};

// Created on first use and never destroyed. A static local variable would have a lock, which might be held in
// a forked child.
std::string& filterText() {
    static constinit std::atomic<std::string*> text{nullptr};
    std::string* known = text;
    if (known) return *known;
    auto made = std::make_unique<std::string>();
    return text.compare_exchange_strong(known, made.get()) ? *made.release() : *known;
}

void updateLastAudibleLevel() {
    const bool decidedByThreshold = detail::currentLogHandler() == defaultLogHandler && !filtering;
    lastAudibleLevel = decidedByThreshold ? threshold.load() : INT_MAX;
}

void defaultLogHandler(eLogLevel level, const char* const format, LogArgs args) {
    if (LogGetLevel() < level) return;
    const LogLine line(level, format, args);
    os::writeToStandardError(line.text());
    detail::writeToLogSink(line.text());
    if (level == kLogLevelError) throw std::runtime_error(std::string(line.text()));
    if (level == kLogLevelFatal) std::exit(1);
}

bool passesFilter(const char* format, LogArgs args) {
    char message[detail::kLogBufferSize];
    message[0] = '\0';
    va_list copy;
    va_copy(copy, args);
    std::vsnprintf(message, sizeof message, format ? format : "", copy);
    va_end(copy);
    return detail::matchesFilter(filterText(), message);
}

void dispatch(eLogLevel level, const char* format, LogArgs args) {
    detail::currentLogHandler()(level, format, args);
}

void filterAndDispatch(eLogLevel level, const char* format, LogArgs args) {
    if (!filtering.load(std::memory_order_relaxed) || passesFilter(format, args))
        dispatch(level, format, args);
}

}  // namespace

LogHandler detail::currentLogHandler() { return handler.load(std::memory_order_relaxed).function; }

void LogSetLevel(eLogLevel level) {
    threshold = level;
    updateLastAudibleLevel();
}

eLogLevel LogGetLevel() { return static_cast<eLogLevel>(threshold.load(std::memory_order_relaxed)); }

void LogSetExpiration(double days) { expirationDays = days; }

double LogGetExpiration() { return expirationDays; }

void LogSetRegExFilter(const std::string& filter) {
    filterText() = filter;
    filtering = !filter.empty();
    updateLastAudibleLevel();
}

const std::string& LogGetRegExFilter() { return filterText(); }

LogHandler LogSetHandler(LogHandler newHandler) {
    if (!newHandler) return detail::currentLogHandler();
    const InstalledHandler previous = handler.exchange({newHandler});
    updateLastAudibleLevel();
    return previous.function;
}

// Variable arguments can only be passed on as a `va_list`, which must be ended also when the handler throws.
#define QV_FORWARD_TO(function, level)                                      \
    if ((level) > lastAudibleLevel.load(std::memory_order_relaxed)) return; \
    va_list args;                                                           \
    va_start(args, format);                                                 \
    try {                                                                   \
        function(level, format, args);                                      \
    } catch (...) {                                                         \
        va_end(args);                                                       \
        throw;                                                              \
    }                                                                       \
    va_end(args)

void LogFatal(const char* const format, ...) { QV_FORWARD_TO(dispatch, kLogLevelFatal); }
void LogError(const char* const format, ...) { QV_FORWARD_TO(dispatch, kLogLevelError); }
void LogWarn(const char* const format, ...) { QV_FORWARD_TO(filterAndDispatch, kLogLevelWarn); }
void LogInfo(const char* const format, ...) { QV_FORWARD_TO(filterAndDispatch, kLogLevelInfo); }
void LogDebug(const char* const format, ...) { QV_FORWARD_TO(filterAndDispatch, kLogLevelDebug); }
void LogTrace(const char* const format, ...) { QV_FORWARD_TO(filterAndDispatch, kLogLevelTrace); }

#undef QV_FORWARD_TO

}  // namespace Qv
