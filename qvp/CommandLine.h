#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace qvp {

/// Runs the tool with these arguments: 0 when all is well, 1 when a problem was found, 2 for a wrong use,
/// which `errors` explains.
int runCommandLine(std::vector<std::string> arguments, std::ostream& out, std::ostream& errors);

}  // namespace qvp
