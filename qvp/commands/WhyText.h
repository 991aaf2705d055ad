#pragma once

#include "commands/Command.h"

namespace qvp {

/// The text of `qvp why`.
void printWhy(const Document& document, Page& page);

}  // namespace qvp
