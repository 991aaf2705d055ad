#pragma once

#include "report/Page.h"

#include <cstddef>
#include <ostream>
#include <string>
#include <vector>

namespace qvp {

/// Where a run writes to.
struct Streams {
    std::ostream& out;
    std::ostream& errors;
    std::size_t columns;  ///< the width of the text in `out`
};

/// Runs the tool with these arguments. Returns 0 if all is OK, 1 if a problem was found, 2 if the arguments
/// are invalid or `out` failed, with the reason written to `errors`, and 3 if `check` found no problem but a
/// plugin is for the other system.
int runCommandLine(std::vector<std::string> arguments, std::ostream& out, std::ostream& errors,
                   std::size_t columns = Page::kUnlimited);

/// The width of text on standard output: that of its terminal, or the environment variable COLUMNS; unlimited
/// if standard output is no terminal.
std::size_t outputColumns();

}  // namespace qvp
