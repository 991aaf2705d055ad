#pragma once

#include "inspect/Inspection.h"

#include <array>
#include <string>
#include <vector>

namespace qvp {

/// Marks all steps through `descriptor` as OK.
void setAllSteps(Inspection& inspection);

/// Marks the steps before `name` as OK, `name` as failed, and the later ones as not reached.
void failAt(Inspection& inspection, StepName name, int errorNumber, const std::string& text,
            Misdeed misdeed = Misdeed::none);

/// The functions that each plugin exports.
inline constexpr std::array<const char*, 4> kEntryPoints{"GetPluginInfo", "InitializePlugin",
                                                         "UninitializePlugin", "GetPluginBuildInfo"};

/// The functions that a plugin exports to keep its state when it is reloaded.
inline constexpr std::array<const char*, 2> kOptionalEntryPoints{"SavePluginState", "RestorePluginState"};

/// "does not export GetPluginInfo, InitializePlugin".
std::string missingEntryPointsText(const std::vector<std::string>& missing);

/// Takes the steps that run none of the file's code. Returns false if no further step is possible, because
/// there is no regular file or it is for the other system. If a step failed, the loader still has its say.
bool takeStaticSteps(const std::string& file, Depth depth, Inspection& inspection);

/// Drops what `Depth::descriptor` does not include, to save memory: with many plugins it is most of the data.
void dropDetails(Inspection& inspection);

}  // namespace qvp
