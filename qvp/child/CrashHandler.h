#pragma once

#include <string>

namespace qvp {

/// Call it once, in a child, after `prepareAsChild`. Then a crash passes its call stack, one frame per line,
/// to `onCrash` before the process ends as it would have ended anyway.
void reportCrashes(void (*onCrash)(const std::string& callStack));

/// True if this process has loaded the file.
bool isMapped(const std::string& file);

}  // namespace qvp
