#pragma once

#include "commands/Command.h"

#include <string>

namespace qvp {

/// The build information of the running product.
std::string productBuildInformation();

/// An object for each key in either text: "key", "plugin", "product" (values; null if missing), "same".
Document compareBuildInformation(const std::string& plugin, const std::string& product);

}  // namespace qvp
