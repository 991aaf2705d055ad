#pragma once

#include "inspect/Inspection.h"

#include <string>

namespace qvp {

/// Why the plugin was not initialized: the messages of the plugin manager, or if there are none, how the
/// process ended.
std::string failureOf(const Trial& trial);

/// Why the trial ended early, and during which phase; "" if it did not.
std::string disturbanceOf(const Trial& trial);

}  // namespace qvp
