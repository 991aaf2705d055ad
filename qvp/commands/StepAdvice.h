#pragma once

#include "commands/WhySteps.h"

#include <string>
#include <vector>

namespace qvp {

/// What to do about the step of this file that failed. `symbols` are those that it lacks, if known.
std::vector<std::string> adviceForStep(const Entry& entry, const Step& failed,
                                       const std::vector<MissingSymbol>& symbols);

}  // namespace qvp
