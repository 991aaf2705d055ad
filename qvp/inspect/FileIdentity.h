#pragma once

#include <string>

namespace qvp {

/// A text that is the same for every path to one regular file, as the plugin manager tells files apart: by
/// the file system on Linux, by the path without regard to letter case on Windows. "" when there is no
/// regular file.
std::string regularFileIdentity(const std::string& path);

}  // namespace qvp
