#pragma once

#include "os/Filesystem.h"
#include "os/posix/Gate.h"

#include <functional>

namespace os::posix {

/// Calls `visit` as `os::visitDirectory` does. False, and the reason in `errno`, if the directory cannot be
/// read.
bool visitDirectory(Descriptor directory, const std::function<void(const DirectoryEntry&)>& visit);

}  // namespace os::posix
