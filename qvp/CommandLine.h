#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace qvp {

/// Runs the tool with these arguments. Returns 0 if all is OK, 1 if a problem was found, and 2 if the
/// arguments are invalid; the reason is then written to `errors`.
int runCommandLine(std::vector<std::string> arguments, std::ostream& out, std::ostream& errors);

}  // namespace qvp
