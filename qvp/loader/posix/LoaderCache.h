#pragma once

#include <string>
#include <vector>

namespace qvp {

inline constexpr const char* kLoaderCacheFile = "/etc/ld.so.cache";

/// The path of a library for this processor in the loader's cache; "" if there is none.
std::string findInLoaderCache(const std::string& name);

/// The paths of all libraries for this processor in the loader's cache.
std::vector<std::string> librariesInLoaderCache();

}  // namespace qvp
