#pragma once

#include "os/Filesystem.h"
#include "os/posix/Gate.h"

#include <functional>

namespace os::posix {

/// As `os::visitDirectory`. Returns false and sets `errno` if the directory cannot be read.
bool visitDirectory(Descriptor directory, const std::function<void(const DirectoryEntry&)>& visit);

}  // namespace os::posix
