#include "loader/posix/LoaderCache.h"

#include "Require.h"
#include "binary/FileContent.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

// Stand in for the tool's: only `findInLoaderCache` uses them, which is not called here.
qvp::FileContent::FileContent(const std::string&) { fuzz::require(false); }
qvp::FileContent::~FileContent() = default;
std::string qvp::FileContent::read(std::uint64_t, std::uint64_t) const { return {}; }

namespace {

constexpr std::size_t kHeader = 48;
constexpr std::size_t kEntry = 24;

template <typename Number>
Number numberIn(const std::string& bytes, std::size_t at) {
    Number number = 0;
    if (bytes.size() >= sizeof number && at <= bytes.size() - sizeof number)
        std::memcpy(&number, bytes.data() + at, sizeof number);
    return number;
}

std::string textIn(const std::string& cache, std::size_t at) {
    if (at >= cache.size() || cache.find('\0', at) == std::string::npos) return {};
    return cache.c_str() + at;
}

// Backwards, so that the first entry of a name is the last one to set it.
std::unordered_map<std::string, std::string> referenceCache(const std::string& content) {
    std::unordered_map<std::string, std::string> paths;
    const auto begin = content.find("glibc-ld.so.cache1.1");
    if (begin == std::string::npos) return paths;
    const std::string cache = content.substr(begin);
    std::size_t count = cache.size() < kHeader ? 0 : (cache.size() - kHeader) / kEntry;
    count = std::min<std::size_t>(count, numberIn<std::uint32_t>(cache, 20));
    while (count-- > 0) {
        const std::size_t entry = kHeader + count * kEntry;
        const std::string name = textIn(cache, numberIn<std::uint32_t>(cache, entry + 4));
        const std::string path = textIn(cache, numberIn<std::uint32_t>(cache, entry + 8));
        const bool fits = numberIn<std::uint32_t>(cache, entry) == 0x0303 &&
                          numberIn<std::uint64_t>(cache, entry + 16) == 0;
        if (fits && !name.empty() && !path.empty()) paths[name] = path;
    }
    return paths;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string content(data, data + size);
    fuzz::require(qvp::readLoaderCache(content) == referenceCache(content));
    return 0;
}
