#pragma once

#include "os/win32/Windows.h"

#include <string>

namespace os::win32 {

/// The name under which the module that a process has mapped at `module` exports the function that begins at
/// `function`, an offset in the module; "" if it exports none there or cannot be read.
std::string exportedName(HANDLE process, DWORD64 module, DWORD function);

}  // namespace os::win32
