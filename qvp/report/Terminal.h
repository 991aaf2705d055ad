#pragma once

#include <cstddef>

namespace qvp {

/// Whether standard output, or standard error, is a terminal that shows colours.
bool isTerminal(bool standardError);

/// The width of the terminal that standard output is; 0 if it is none or the width is unknown.
std::size_t terminalColumns();

/// Standard output takes UTF-8 from here on, and bytes as they are. If it is closed, writing to it fails, and
/// does not reach a file that is opened later.
void prepareStandardOutput();

}  // namespace qvp
