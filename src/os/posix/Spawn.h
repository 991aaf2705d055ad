#pragma once

#include <sys/types.h>

#include <string>

namespace os::posix {

/// Starts the program of a command line that follows the quoting rules of Windows. Returns the new process,
/// or 0 on failure. The program is searched in PATH; it inherits a copy of the environment and the standard
/// streams.
pid_t spawn(const std::string& commandLine);

}  // namespace os::posix
