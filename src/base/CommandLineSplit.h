#pragma once

#include <string>
#include <string_view>
#include <vector>

/// The text of a command line, by the rules of the Windows C runtime.
namespace base {

/// The arguments in a command line, the program first. Blanks and tabs separate, double quotes group. In the
/// program a backslash is an ordinary character. In arguments, backslashes before a double quote count by
/// pairs, an odd one makes the quote ordinary, and so does a second quote within quotes. Linear.
std::vector<std::string> splitCommandLine(std::string_view line);

}  // namespace base
