#pragma once

#include "commands/Command.h"

#include <string>
#include <vector>

namespace qvp {

/// What other users can change, once for each weak point: the directories that exist, then the files.
Document warningsDocument(const std::vector<SearchDirectory>& directories,
                          const std::vector<std::string>& files);
void printWarnings(const Document& warnings, Page& page);

}  // namespace qvp
