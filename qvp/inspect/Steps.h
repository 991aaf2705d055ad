#pragma once

#include "inspect/Inspection.h"

#include <string>

namespace qvp {

/// All steps up to `descriptor`, well.
void setAllSteps(Inspection& inspection);

/// Those before it are well, it has failed, and the others were not reached.
void failAt(Inspection& inspection, StepName name, int errorNumber, const std::string& text);

/// The steps that run none of the file's code; false when one has failed.
bool takeStaticSteps(const std::string& file, Depth depth, Inspection& inspection);

/// Leaves what `Depth::descriptor` asks for: the rest is most of the memory that many plugins would take.
void dropDetails(Inspection& inspection);

}  // namespace qvp
