#pragma once

#include <string>
#include <string_view>

/// The log file's stream, closed until a file is opened. The default handler writes to it and the log
/// file's owner opens it; neither knows the other. Calls from any thread take turns.
namespace Qv::detail {

/// Opens the file for appending, closing the one before, and writes `header` before anything else; false,
/// and nothing open, when that fails.
bool openLogSink(const std::string& path, std::string_view header = {});
void closeLogSink();
bool isLogSinkOpen();

/// Writes the text, unbuffered; does nothing if no file is open. After a text that did not fit on the disk as
/// a whole, the next one begins a line of its own.
void writeToLogSink(std::string_view text);

}  // namespace Qv::detail
