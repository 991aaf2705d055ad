#include "diagnostics/log/LogLine.h"

#include "os/CalendarTime.h"

#include <cstdio>
#include <cstring>
#include <ctime>

namespace Qv::detail {
namespace {

constexpr std::string_view kPrefixes[] = {"", "FATAL: ", "ERROR: ", "WARN: ", "INFO: ", "DEBUG: ", "TRACE: "};
constexpr std::size_t kTimeLength = os::kCalendarTextSize - 2;

std::string_view prefixOf(eLogLevel level) {
    const int index = level;
    return kPrefixes[index >= kLogLevelFatal && index <= kLogLevelTrace ? index : kLogLevelNone];
}

// Converting the time costs as much as the rest of a line, so each thread keeps the last second's text.
std::string_view currentTimeText() {
    thread_local std::time_t cachedTime = -1;
    thread_local char cachedText[os::kCalendarTextSize];
    const std::time_t now = std::time(nullptr);
    if (now != cachedTime) {
        os::writeCalendarText(now, cachedText);
        cachedTime = now;
    }
    return {cachedText, kTimeLength};
}

}  // namespace

LogLine::LogLine(eLogLevel level, const char* format, LogArgs args) {
    append(currentTimeText());
    append(" - ");
    append(prefixOf(level));
    appendMessage(format ? format : "", args);
}

void LogLine::append(std::string_view text) {
    std::memcpy(buffer_ + length_, text.data(), text.size());
    length_ += text.size();
}

void LogLine::appendMessage(const char* format, LogArgs args) {
    buffer_[length_] = '\0';
    const std::size_t room = kLogBufferSize - length_;
    const int wanted = std::vsnprintf(buffer_ + length_, room, format, args);
    const bool whole = wanted > 0 && static_cast<std::size_t>(wanted) < room;
    length_ += std::strlen(buffer_ + length_);
    if (whole && buffer_[length_ - 1] != '\n') append("\n");
}

}  // namespace Qv::detail
