#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace qvp {

/// The folders of DT_RPATH or DT_RUNPATH of the library `file`, without a slash at the end, with $ORIGIN,
/// $LIB and $PLATFORM replaced as the loader does; "." for an empty one, which is the current directory.
std::vector<std::string> runPathFolders(std::string_view runPath, const std::string& file);

}  // namespace qvp
