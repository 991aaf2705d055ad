#pragma once

#include <functional>

namespace faults {

/// Calls `choose` with the name and the address of each function that a loaded library (null: the program)
/// imports by name, and puts the result in its place unless it is null.
void replaceImports(const wchar_t* library,
                    const std::function<void*(const char* name, void* function)>& choose);

}  // namespace faults
