#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace qvp {

/// Runs the tool with these arguments. Returns 0 if all is OK, 1 if a problem was found, 2 if the arguments
/// are invalid, with the reason written to `errors`, and 3 if `check` found no problem but a plugin is for
/// the other system.
int runCommandLine(std::vector<std::string> arguments, std::ostream& out, std::ostream& errors);

}  // namespace qvp
