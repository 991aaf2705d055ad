#pragma once

#include "os/CallStack.h"

#include <optional>
#include <string>
#include <string_view>

/// Formats the call stack that a walker reads.
namespace QvPlatform::detail {

/// The folders to search for symbol files, each followed by ";": the current folder (as "." and as
/// `currentDirectory`), the folder of the program `executable`, and those in environment variables. Folders
/// that are missing or do not fit into the system's buffers are omitted.
std::string symbolSearchPath(const std::string& currentDirectory, const std::string& executable,
                             std::optional<std::string> (*variable)(const std::string& name));

/// "ERROR: call, GetLastError: code (Address: address)" and a line end.
void appendError(std::string& text, std::string_view call, os::ErrorCode code, std::uintptr_t address);

/// Appends one line for each frame of the walk, which must have been started. If a frame returns to `caller`,
/// omits the frames above it. If the walk does not reach the outermost frame, adds an error line and returns
/// false.
bool appendFrames(std::string& text, os::StackWalker& walker, const void* caller);

}  // namespace QvPlatform::detail
