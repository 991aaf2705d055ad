#pragma once

#include <string>

namespace qvp {

/// After `prepareAsChild`: from here on a crash of this process hands its call stack, one frame a line, to
/// `onCrash` before the process ends as it would have ended. Called once, in a child.
void reportCrashes(void (*onCrash)(const std::string& callStack));

/// Whether the file is in this process's memory.
bool isMapped(const std::string& file);

}  // namespace qvp
