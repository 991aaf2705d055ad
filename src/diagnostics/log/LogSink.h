#pragma once

#include <string>
#include <string_view>

/// The stream of the log file, initially closed. It lets the default log handler write to the log file
/// without depending on the code that opens it. Thread-safe.
namespace Qv::detail {

/// Closes the current file, opens `path` for appending, and writes `header` first. On failure returns false,
/// and no file is open.
bool openLogSink(const std::string& path, std::string_view header = {});
void closeLogSink();
bool isLogSinkOpen();

/// Writes the text, unbuffered; does nothing if no file is open. If a text was written only in part
/// because the disk is full, the next one starts on a new line.
void writeToLogSink(std::string_view text);

}  // namespace Qv::detail
