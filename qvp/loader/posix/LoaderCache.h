#pragma once

#include <string>

namespace qvp {

inline constexpr const char* kLoaderCacheFile = "/etc/ld.so.cache";

/// The path of a library for this processor in the loader's cache; "" if there is none.
std::string findInLoaderCache(const std::string& name);

}  // namespace qvp
