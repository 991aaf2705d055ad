#pragma once

#include <string>
#include <unordered_map>
#include <vector>

namespace qvp {

inline constexpr const char* kLoaderCacheFile = "/etc/ld.so.cache";

/// The paths of the libraries for this processor, by name, in the content of such a file.
std::unordered_map<std::string, std::string> readLoaderCache(const std::string& content);

/// The path of a library for this processor in the loader's cache; "" if there is none.
std::string findInLoaderCache(const std::string& name);

/// The paths of all libraries for this processor in the loader's cache.
std::vector<std::string> librariesInLoaderCache();

}  // namespace qvp
