#pragma once

#include "inspect/Inspection.h"

#include <string>

namespace qvp {

/// Marks all steps through `descriptor` as OK.
void setAllSteps(Inspection& inspection);

/// Marks the steps before `name` as OK, `name` as failed, and the later ones as not reached.
void failAt(Inspection& inspection, StepName name, int errorNumber, const std::string& text);

/// Takes the steps that run none of the file's code. Returns false if one failed.
bool takeStaticSteps(const std::string& file, Depth depth, Inspection& inspection);

/// Drops what `Depth::descriptor` does not include, to save memory: with many plugins it is most of the data.
void dropDetails(Inspection& inspection);

}  // namespace qvp
