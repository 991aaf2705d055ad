#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace qvp {

/// Runs the tool with these arguments. Returns 0 if everything is OK, 1 if a problem was found, 2 for wrong
/// use, which `errors` explains, and 3 if `check` found no problem but a plugin is for the other system.
int runCommandLine(std::vector<std::string> arguments, std::ostream& out, std::ostream& errors);

}  // namespace qvp
