#pragma once

#include <cstdint>
#include <optional>
#include <string>

/// The running process and its computer. Text is UTF-8.
namespace os {

/// The computer's name; "" if unavailable.
std::string hostName();

unsigned int processId();
/// False also for the number of an ended process that its parent has not waited for.
bool isProcessRunning(unsigned int id);

/// Bytes in physical memory; 0 if unavailable.
std::uint64_t residentBytes();

/// The space available to the user on a directory's volume. `directory` may be "." or any path; nothing if it
/// is not a directory.
std::optional<std::uint64_t> freeDiskBytes(const std::string& directory);

/// Minutes from local standard time to UTC. On Windows, 0 for a zone without daylight saving time.
long standardTimeBias();

/// True if the calling thread has administrator rights.
bool isAdministrator();

}  // namespace os
