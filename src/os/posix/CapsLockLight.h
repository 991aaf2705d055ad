#pragma once

#include <string>

namespace os::posix {

/// Whether a Caps Lock light is on, of those in a folder such as "/sys/class/leds/": each has its own there,
/// whose name ends with "::capslock", with its brightness in a file.
bool isCapsLockLit(const std::string& folder);

}  // namespace os::posix
