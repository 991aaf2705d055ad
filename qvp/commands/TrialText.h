#pragma once

#include "inspect/Inspection.h"

#include <string>

namespace qvp {

/// Why a trial's plugin was not initialized: what the plugin manager said, else how the code ended the
/// process.
std::string failureOf(const Trial& trial);

/// How the code kept the trial from coming to its end, and during which phase; "" when it did not.
std::string disturbanceOf(const Trial& trial);

}  // namespace qvp
