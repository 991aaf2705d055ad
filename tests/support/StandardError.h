#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

namespace support {

/// The text with line ends as a program reads them from a text stream.
inline std::string withPlainLineEnds(std::string text) {
    text.erase(std::remove(text.begin(), text.end(), '\r'), text.end());
    return text;
}

/// Runs `work`. Returns what it writes to this process's standard error stream.
template <typename Work>
std::string standardErrorOf(Work work) {
    testing::internal::CaptureStderr();
    work();
    return withPlainLineEnds(testing::internal::GetCapturedStderr());
}

/// The pieces that end with a newline, newline included, and what remains after the last one.
inline std::vector<std::string> linesOf(std::string_view text) {
    std::vector<std::string> lines;
    while (!text.empty()) {
        const auto length = std::min(text.find('\n'), text.size() - 1) + 1;
        lines.emplace_back(text.substr(0, length));
        text.remove_prefix(length);
    }
    return lines;
}

/// The 24 characters of local time and " - " before each line of the log.
inline constexpr std::size_t kStampLength = 27;

/// A log line without its time, or the line with a remark if it does not begin with a time.
inline std::string withoutStamp(const std::string& line) {
    const std::string_view shape = "aaa aaa d9 99:99:99 9999 - ";
    const auto fits = [](char c, char kind) {
        const bool isDigit = c >= '0' && c <= '9';
        if (kind == 'a') return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
        if (kind == 'd') return c == ' ' || isDigit;
        return kind == '9' ? isDigit : c == kind;
    };
    if (line.size() < shape.size() || !std::equal(shape.begin(), shape.end(), line.begin(),
                                                  [&](char kind, char c) { return fits(c, kind); }))
        return "no time before: " + line;
    return line.substr(kStampLength);
}

}  // namespace support
