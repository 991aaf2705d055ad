#pragma once

#include "commands/Command.h"

namespace qvp {

/// Prints the text output of `qvp why`.
void printWhy(const Document& document, Page& page);

}  // namespace qvp
