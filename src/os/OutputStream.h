#pragma once

#include <cstdio>
#include <string>

namespace os {

/// Opens a text file for writing at its end, making it if need be; null on failure. The caller closes it.
/// `path` is UTF-8. Children do not inherit it.
std::FILE* openForAppending(const std::string& path);

}  // namespace os
