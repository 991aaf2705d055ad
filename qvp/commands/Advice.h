#pragma once

#include "commands/Command.h"
#include "commands/WhySteps.h"

#include <optional>
#include <string>
#include <vector>

namespace qvp {

/// The failure chain of a failed plugin: `index` first, then dependencies, down to the root cause.
std::vector<std::size_t> causeOf(const Catalogue& catalogue, std::size_t index);

/// What to do about a plugin that is not initialized, one sentence per element. `taken` are the steps of that
/// plugin; if none failed, returns nothing.
std::vector<std::string> adviceFor(const Catalogue& catalogue, std::size_t index, const WhySteps& taken);

/// A plugin whose file does not have the name that dependents look for.
struct Misnamed {
    std::string plugin;
    std::string file;
    std::string lookedFor;  ///< "engine.qvp"
    std::string renameTo;   ///< the path at which they would find it
};

/// The plugin that `name` means, if no file is called so.
std::optional<Misnamed> misnamedAs(const Catalogue& catalogue, const std::string& name);
/// The plugin itself and what it needs, directly or not, as far as their files are misnamed.
std::vector<Misnamed> misnamedFor(const Catalogue& catalogue, std::size_t index);

std::string adviceForMisnamed(const Misnamed& misnamed);

/// What to do if no file has the name of this plugin. `dependent` is the file that needs it, or "".
std::string adviceForMissing(const Catalogue& catalogue, const std::string& name,
                             const std::string& dependent);

}  // namespace qvp
