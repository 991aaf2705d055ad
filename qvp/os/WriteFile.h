#pragma once

#include <string>

namespace qvp {

/// Makes the file or replaces what it holds; false when it could not be written whole. `path` is UTF-8.
bool writeFile(const std::string& path, const std::string& content);

}  // namespace qvp
