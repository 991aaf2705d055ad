#pragma once

#include <QvPlatform/diagnostics/Log.h>

#include <cstddef>
#include <string_view>

namespace Qv::detail {

/// Buffer size of a formatted message or line with its terminating zero; longer ones are truncated.
inline constexpr std::size_t kLogBufferSize = 5000;

/// One line of the log: local time, " - ", the level's prefix, the message, and a newline unless the
/// message is empty, was truncated, or ends with one.
class LogLine {
public:
    LogLine(eLogLevel level, const char* format, LogArgs args);

    std::string_view text() const { return {buffer_, length_}; }

private:
    void append(std::string_view text);
    void appendMessage(const char* format, LogArgs args);

    char buffer_[kLogBufferSize];  // a newline takes the place of the terminating zero
    std::size_t length_ = 0;
};

}  // namespace Qv::detail
