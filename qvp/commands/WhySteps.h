#pragma once

#include "commands/Command.h"

#include <string>
#include <vector>

namespace qvp {

/// All ten steps of one plugin, and what else came to light on the way.
struct WhySteps {
    std::vector<Step> steps;
    std::vector<NeededLibrary> libraries;
    std::string callStack;  ///< of a crash during initialization

    /// Whether all steps are OK.
    bool isWell() const;
    /// One line.
    std::string verdict(const Entry& entry) const;
};

/// Takes the steps of one file again, closely, and the last one, initialization, if all others were taken.
WhySteps takeSteps(const Catalogue& catalogue, std::size_t place, const Setting& setting);

}  // namespace qvp
