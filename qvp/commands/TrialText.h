#pragma once

#include "inspect/Inspection.h"

#include <string>
#include <vector>

namespace qvp {

/// Why the plugin was not initialized: the messages of the plugin manager, or if there are none, how the
/// process ended.
std::string failureOf(const Trial& trial);

/// Why the trial ended early, and during which phase; "" if it did not.
std::string disturbanceOf(const Trial& trial);

/// What went wrong after a successful initialization; "" if nothing did.
std::string unloadingProblemOf(const Trial& trial);

/// What the plugin changed and did not restore, one sentence per kind.
std::vector<std::string> leftoverProblemsOf(const Trial& trial);

}  // namespace qvp
