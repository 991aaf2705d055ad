#pragma once

#include "commands/Command.h"

#include <string>
#include <vector>

namespace qvp {

/// The ten steps of one plugin, and what was found during them.
struct WhySteps {
    std::vector<Step> steps;
    std::vector<NeededLibrary> libraries;
    std::string callStack;  ///< of a crash during initialization; "" without one

    /// True if all steps are OK.
    bool isOk() const;
    /// One sentence for the user.
    std::string verdict(const Entry& entry) const;
};

/// Repeats the steps of one file in full detail. If all others succeed, also tries the last one,
/// initialization.
WhySteps takeSteps(const Catalogue& catalogue, std::size_t index, const Setting& setting);

/// Prints the text output of `qvp why`.
void printWhy(const Document& document, Page& page);

}  // namespace qvp
