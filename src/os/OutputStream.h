#pragma once

#include <cstdio>
#include <string>
#include <string_view>

/// What is written to as long as a process runs. Paths are UTF-8.
namespace os {

/// Opens a text file for writing at its end, unbuffered, making it if need be; null on failure. The caller
/// closes it. Children do not inherit it, and `removeUnlessOpen` leaves it alone.
std::FILE* openForAppending(const std::string& path);

/// Writes to the standard error stream; lines of threads stay apart.
void writeToStandardError(std::string_view text);

/// Removes a file; false, and the system's text in `error`, when that fails or when some process has it
/// open by `openForAppending`.
bool removeUnlessOpen(const std::string& path, std::string& error);

}  // namespace os
