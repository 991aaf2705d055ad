#pragma once

#include "commands/Command.h"

#include <string>
#include <vector>

namespace qvp {

/// The failure chain of a failed plugin: `index` first, then dependencies, down to the root cause.
std::vector<std::size_t> causeOf(const Catalogue& catalogue, std::size_t index);

/// What to do about a plugin that is not initialized, one sentence per element. `steps` are the steps of that
/// plugin; if none failed, returns nothing.
std::vector<std::string> adviceFor(const Catalogue& catalogue, std::size_t index,
                                   const std::vector<Step>& steps);

/// What to do about a plugin whose file does not have the plugin's name.
std::string adviceForMisnamed(const Entry& entry);

/// What to do if no file has the name of this plugin.
std::string adviceForMissing(const Catalogue& catalogue, const std::string& name);

}  // namespace qvp
