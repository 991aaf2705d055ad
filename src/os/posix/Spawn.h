#pragma once

#include <sys/types.h>

#include <string>

namespace os::posix {

/// Starts the program of a command line that follows the quoting rules of Windows: the new process, or 0. It
/// gets a copy of the environment, whose PATH it is looked for in, and the standard streams.
pid_t spawn(const std::string& commandLine);

}  // namespace os::posix
