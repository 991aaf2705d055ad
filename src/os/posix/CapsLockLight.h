#pragma once

#include <string>

namespace os::posix {

/// True if a Caps Lock light is on. `folder` is like "/sys/class/leds/": each light has a subfolder whose
/// name ends with "::capslock", which contains a file with the brightness.
bool isCapsLockLit(const std::string& folder);

}  // namespace os::posix
