#pragma once

#include <string>

namespace qvp {

inline constexpr const char* kLoaderCacheFile = "/etc/ld.so.cache";

/// The path that the loader's cache has for a library of this processor; "" when it has none.
std::string findInLoaderCache(const std::string& name);

}  // namespace qvp
