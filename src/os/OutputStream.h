#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

/// What is written to as long as a process runs. Paths are UTF-8. None of the locks that a thread may leave
/// behind guards it: neither one of the C runtime's on Windows, nor, on Linux, one that a cancellation skips.
namespace os {

/// The system's own number of an open file.
using AppendedFile = std::intptr_t;
inline constexpr AppendedFile kNoFile = -1;

/// Opens a text file for writing at its end, making it if need be; `kNoFile` on failure and for a path with a
/// zero byte. The caller closes it. Children do not inherit it, and `removeUnlessOpen` leaves it alone.
AppendedFile openForAppending(const std::string& path);

/// Writes the text and returns how much of it the file took. Threads take turns by a lock of the caller's.
std::size_t append(AppendedFile file, std::string_view text) noexcept;
void closeAppended(AppendedFile file) noexcept;

/// Writes to the standard error stream; lines of threads stay apart.
void writeToStandardError(std::string_view text);

/// Removes a file; false, and the system's text in `error`, when that fails or when some process has it
/// open by `openForAppending`. On Linux, a file that this user may neither read nor write is not asked.
bool removeUnlessOpen(const std::string& path, std::string& error);

}  // namespace os
