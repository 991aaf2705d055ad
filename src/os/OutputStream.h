#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

/// Output that works until the end of the process. Paths are UTF-8. It depends on no lock that an ended
/// thread may leave locked: neither locks of the C runtime on Windows nor, on Linux, locks whose release a
/// cancellation skips.
namespace os {

/// The system's number of an open file.
using AppendedFile = std::intptr_t;
inline constexpr AppendedFile kNoFile = -1;

/// Opens a text file for appending, and creates it if missing. Returns `kNoFile` on failure and for a path
/// with a zero byte. The caller closes it. Children do not inherit it, and `removeUnlessOpen` does not remove
/// it. On Linux it never waits, opens only regular files, and does not use another user's link or file in a
/// directory that others may write.
AppendedFile openForAppending(const std::string& path);

/// Writes the text and returns the number of bytes written. The caller locks, so that threads write one at a
/// time.
std::size_t append(AppendedFile file, std::string_view text) noexcept;
void closeAppended(AppendedFile file) noexcept;

/// Writes to the standard error stream; lines of different threads do not mix.
void writeToStandardError(std::string_view text);

/// Removes a file. Returns false and stores the system's text in `error` if that fails or if a process has
/// the file open by `openForAppending`. On Linux the latter is not checked if this user may neither read nor
/// write the file.
bool removeUnlessOpen(const std::string& path, std::string& error);

}  // namespace os
