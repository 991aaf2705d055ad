#pragma once

#include <string>
#include <string_view>

/// The log file's stream, closed until a file is opened. The default handler writes to it and the log
/// file's owner opens it; neither knows the other. Calls from any thread take turns.
namespace Qv::detail {

/// Opens the file for appending, closing the one before; false, and nothing open, when that fails.
bool openLogSink(const std::string& path);
void closeLogSink();
bool isLogSinkOpen();

/// Writes the text and flushes it; nothing when no file is open.
void writeToLogSink(std::string_view text);

}  // namespace Qv::detail
