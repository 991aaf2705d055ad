#pragma once

#include "inspect/Inspection.h"

#include <array>
#include <string>
#include <vector>

namespace qvp {

/// All steps up to `descriptor`, well.
void setAllSteps(Inspection& inspection);

/// Those before it are well, it has failed, and the others were not reached.
void failAt(Inspection& inspection, StepName name, int errorNumber, const std::string& text);

/// The functions that each plugin exports.
inline constexpr std::array<const char*, 4> kEntryPoints{"GetPluginInfo", "InitializePlugin",
                                                         "UninitializePlugin", "GetPluginBuildInfo"};

/// "does not export GetPluginInfo, InitializePlugin".
std::string missingEntryPointsText(const std::vector<std::string>& missing);

/// The steps that run none of the file's code; false if one has failed, or if the file is for the other
/// system: then no other step can be taken here.
bool takeStaticSteps(const std::string& file, Depth depth, Inspection& inspection);

/// Leaves what `Depth::descriptor` asks for: the rest is most of the memory that many plugins would take.
void dropDetails(Inspection& inspection);

}  // namespace qvp
