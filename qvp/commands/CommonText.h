#pragma once

#include "commands/Command.h"

#include <string>
#include <vector>

namespace qvp {

/// The first texts, each once, and how many more there are: at most `most` and one.
std::vector<std::string> firstOf(const std::vector<std::string>& texts, std::size_t most);

/// The beginning and the end of what a plugin printed, at most 8 KiB.
std::string shownOutput(const std::string& printed);

/// Prints the member "printed", at most 40 lines.
void printOutput(const Document& document, Page& page);

}  // namespace qvp
