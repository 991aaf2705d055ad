#pragma once

#include "commands/Command.h"

#include <string>
#include <vector>

namespace qvp {

/// A plugin that failed, and of those below it that it failed by, the last: the one to mend first.
std::vector<std::size_t> causeOf(const Catalogue& catalogue, std::size_t index);

/// What to do about a plugin that is not initialized, a sentence each; `steps` are its own.
std::vector<std::string> adviceFor(const Catalogue& catalogue, std::size_t index,
                                   const std::vector<Step>& steps);

/// What to do about a plugin whose file is called otherwise.
std::string adviceForMisnamed(const Entry& entry);

/// What to do when no file is called like this plugin.
std::string adviceForMissing(const Catalogue& catalogue, const std::string& name);

}  // namespace qvp
