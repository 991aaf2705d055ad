#pragma once

#include "os/CallStack.h"

#include <optional>
#include <string>
#include <string_view>

/// Formats the call stack that a walker reads.
namespace QvPlatform::detail {

/// The folders that symbol files are looked for in, each followed by ";": the current one, by name and as
/// `currentDirectory`, that of the program `executable`, and those of the environment's variables. A piece
/// that is missing or does not fit into the system's buffers is left out.
std::string symbolSearchPath(const std::string& currentDirectory, const std::string& executable,
                             std::optional<std::string> (*variable)(const std::string& name));

/// "ERROR: call, GetLastError: code (Address: address)" and a line end.
void appendError(std::string& text, std::string_view call, os::ErrorCode code, std::uintptr_t address);

/// Appends a line for each frame of the walk that has been started. If a frame returns to `caller`, frames
/// above it are left out. If the walk does not reach the outermost frame, adds an error line and returns
/// false.
bool appendFrames(std::string& text, os::StackWalker& walker, const void* caller);

}  // namespace QvPlatform::detail
