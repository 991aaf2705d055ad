#pragma once

#include <cstdint>
#include <optional>
#include <string>

/// The running process and its computer. Text is UTF-8.
namespace os {

/// The computer's name, "" when the system does not tell.
std::string hostName();

unsigned int processId();

/// Bytes in physical memory; 0 when the system does not tell.
std::uint64_t residentBytes();

/// What the user may still write to the volume that holds a directory. `directory` may be "." or any path;
/// nothing for what is no directory.
std::optional<std::uint64_t> freeDiskBytes(const std::string& directory);

/// Minutes from local standard time to UTC. Windows says 0 for a zone without daylight saving time.
long standardTimeBias();

/// Whether the calling thread acts as an administrator.
bool isAdministrator();

}  // namespace os
