#pragma once

#include <string>

/// Libraries whose static initializers threw. Linux keeps such a library in memory, partly initialized, and
/// would return it at the next request for its file, path or name. So this process never requests it again.
namespace os {

/// The error text for such a library.
std::string initializersThrew(const std::string& exceptionText);

/// Refuses, from now on, the library at `path` and everything that needs it under the name `neededAs`.
void refuseLibrary(const std::string& path, const std::string& neededAs, const std::string& reason);

/// False while no library is refused: a cheap test before the other queries.
bool areLibrariesRefused() noexcept;

/// The reason to refuse the file at `path`; "" if it is not refused.
std::string refusalOfFile(const std::string& path);

/// The reason to refuse files that need a library with this name; "" if they are not refused.
std::string refusalOfNeeded(const std::string& name);

}  // namespace os
