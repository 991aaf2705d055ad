#pragma once

#include "commands/Command.h"

#include <string>

namespace qvp {

/// The running product's own build information.
std::string productBuildInformation();

/// Each key of either text with both values: "key", "plugin", "product" (null where it is missing), "same".
Document compareBuildInformation(const std::string& plugin, const std::string& product);

}  // namespace qvp
