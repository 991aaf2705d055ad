#pragma once

#include <string>
#include <string_view>
#include <vector>

/// Command lines by the rules of the Windows C runtime.
namespace base {

/// The arguments in a command line, the program first. Blanks and tabs separate, double quotes group. In the
/// program a backslash is an ordinary character. In arguments, each pair of backslashes before a double quote
/// is one backslash; a remaining backslash makes the quote an ordinary character. Within quotes, a doubled
/// quote is an ordinary one. Linear time.
std::vector<std::string> splitCommandLine(std::string_view line);

}  // namespace base
