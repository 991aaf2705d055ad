#pragma once

#include <string>

/// Libraries whose static initializers threw. Linux keeps such a library in memory, half built, and would
/// hand it out at the next request for its file, its path or its name; so it is never asked again.
namespace os {

/// What is said of such a library.
std::string initializersThrew(const std::string& exceptionText);

/// From now on the library at `path` is refused, for this reason, and with it what needs it as `neededAs`.
void refuseLibrary(const std::string& path, const std::string& neededAs, const std::string& reason);

/// False as long as there is none, which saves looking.
bool areLibrariesRefused() noexcept;

/// The reason to refuse the file at a path; "" when there is none.
std::string refusalOfFile(const std::string& path);

/// The reason to refuse what needs a library of this name; "" when there is none.
std::string refusalOfNeeded(const std::string& name);

}  // namespace os
