#pragma once

#include <string>
#include <vector>

namespace qvp {

/// What follows the program's name on its command line, in UTF-8.
std::vector<std::string> programArguments(int argc, char** argv);

}  // namespace qvp
