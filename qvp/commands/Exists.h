#pragma once

#include "commands/Command.h"

#include <string>

namespace qvp {

/// True if the plugin is found and can be initialized, as far as `list` can tell, and its version is
/// `atLeast` or later. Any version will do if that is "".
bool pluginExists(const Setting& setting, const std::string& nameOrPath, const std::string& atLeast);

/// What is wrong with a version as an argument; "" if it is one to four numbers separated by dots.
std::string problemOfVersion(const std::string& version);

}  // namespace qvp
