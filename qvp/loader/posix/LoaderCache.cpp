#include "loader/posix/LoaderCache.h"

#include "binary/FileContent.h"
#include "binary/LibraryFormat.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace qvp {
namespace {

using Paths = std::unordered_map<std::string, std::string>;

std::string textAt(const std::string& bytes, std::size_t offset) {
    const auto end = bytes.find('\0', offset);
    return end == std::string::npos ? std::string() : bytes.substr(offset, end - offset);
}

const Paths& cachedPaths() {
    static const Paths paths = [] {
        const FileContent file(kLoaderCacheFile);
        return readLoaderCache(file.read(0, file.size()));
    }();
    return paths;
}

}  // namespace

// A header, entries of five numbers, and texts at offsets from the header's begin. An older form may stand
// before it.
Paths readLoaderCache(const std::string& content) {
    constexpr const char* kMagic = "glibc-ld.so.cache1.1";
    constexpr std::size_t kCountPlace = 20;
    constexpr std::size_t kHeaderSize = 48;
    constexpr std::size_t kEntrySize = 24;
    constexpr std::uint32_t kX8664Library = 0x0303;
    Paths paths;
    const auto begin = content.find(kMagic);
    if (begin == std::string::npos) return paths;
    const std::string cache = content.substr(begin);
    const std::size_t count = numberAt<std::uint32_t>(cache, kCountPlace);
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t entry = kHeaderSize + i * kEntrySize;
        if (entry + kEntrySize > cache.size()) break;
        if (numberAt<std::uint32_t>(cache, entry) != kX8664Library) continue;
        const std::string name = textAt(cache, numberAt<std::uint32_t>(cache, entry + 4));
        const std::string path = textAt(cache, numberAt<std::uint32_t>(cache, entry + 8));
        // Variants for later processors come with what they demand.
        const bool isForAll = numberAt<std::uint64_t>(cache, entry + 16) == 0;
        if (name.empty() || path.empty()) continue;
        if (isForAll && paths.count(name) == 0) paths[name] = path;
    }
    return paths;
}

std::string findInLoaderCache(const std::string& name) {
    const auto found = cachedPaths().find(name);
    return found == cachedPaths().end() ? std::string() : found->second;
}

std::vector<std::string> librariesInLoaderCache() {
    std::vector<std::string> paths;
    for (const auto& [name, path] : cachedPaths()) paths.push_back(path);
    std::sort(paths.begin(), paths.end());
    return paths;
}

}  // namespace qvp
