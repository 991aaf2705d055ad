#pragma once

#include <QvPlatform/diagnostics/Log.h>

#include <cstddef>
#include <cstdio>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace support {

/// Restores threshold, filter and handler in its destructor.
class LogStateRestore {
public:
    LogStateRestore()
        : level_(Qv::LogGetLevel()), filter_(Qv::LogGetRegExFilter()), handler_(currentHandler()) {}
    LogStateRestore(const LogStateRestore&) = delete;
    LogStateRestore& operator=(const LogStateRestore&) = delete;
    ~LogStateRestore() {
        Qv::LogSetLevel(level_);
        Qv::LogSetRegExFilter(filter_);
        Qv::LogSetHandler(handler_);
    }

    /// Setting a null pointer is refused, and returns the installed handler.
    static Qv::LogHandler currentHandler() { return Qv::LogSetHandler(nullptr); }

private:
    Qv::eLogLevel level_;
    std::string filter_;
    Qv::LogHandler handler_;
};

inline std::string formatted(const char* format, Qv::LogArgs args) {
    va_list copy;
    va_copy(copy, args);
    const int length = std::vsnprintf(nullptr, 0, format, copy);
    va_end(copy);
    std::string text(static_cast<std::size_t>(length) + 1, '\0');
    std::vsnprintf(text.data(), text.size(), format, args);
    text.pop_back();
    return text;
}

/// A message as the handler received it: `format` before and `text` after formatting.
struct LogMessage {
    Qv::eLogLevel level;
    std::string format;
    std::string text;
};

/// Captures messages instead of writing them, during its lifetime. Only one at a time.
class LogCapture {
public:
    LogCapture() {
        take();
        Qv::LogSetHandler(keep);
    }

    /// The messages since the last call.
    static std::vector<LogMessage> take() {
        const std::lock_guard guard(lock());
        return std::exchange(kept(), {});
    }

    /// The same, but only the texts.
    static std::vector<std::string> takeTexts() {
        std::vector<std::string> texts;
        for (LogMessage& message : take()) texts.push_back(std::move(message.text));
        return texts;
    }

private:
    static std::mutex& lock() {
        static std::mutex mutex;
        return mutex;
    }
    static std::vector<LogMessage>& kept() {
        static std::vector<LogMessage> messages;
        return messages;
    }
    static void keep(Qv::eLogLevel level, const char* const format, Qv::LogArgs args) {
        const std::lock_guard guard(lock());
        const char* const text = format ? format : "";
        kept().push_back({level, text, formatted(text, args)});
    }

    LogStateRestore restore_;
};

}  // namespace support
