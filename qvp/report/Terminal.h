#pragma once

namespace qvp {

/// Whether standard output, or standard error, is a terminal that shows colours.
bool isTerminal(bool standardError);

/// Standard output takes UTF-8 from here on, and bytes as they are.
void prepareStandardOutput();

}  // namespace qvp
