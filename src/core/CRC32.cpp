#include <QvPlatform/core/CRC32.h>

#include "core/CRC32Paths.h"

#include <algorithm>
#include <atomic>

namespace Qv {
namespace {

std::uint32_t chooseAndTake(std::uint32_t crc, const unsigned char* bytes, std::size_t count);

// Points to the fastest path after the first call. Cheaper per call than a function-local static object.
constinit std::atomic<detail::CrcPath> path{chooseAndTake};

std::uint32_t chooseAndTake(std::uint32_t crc, const unsigned char* bytes, std::size_t count) {
    const auto paths = detail::crcPaths();
    const auto isOffered = [](detail::CrcPath candidate) { return candidate != nullptr; };
    const detail::CrcPath fastest = *std::find_if(paths.begin(), paths.end(), isOffered);
    path.store(fastest, std::memory_order_relaxed);
    return fastest(crc, bytes, count);
}

}  // namespace

int calculateCRC32(const void* data, int length, int crc) {
    if (length <= 0) return crc;
    const detail::CrcPath take = path.load(std::memory_order_relaxed);
    const auto* const bytes = static_cast<const unsigned char*>(data);
    const std::uint32_t before = ~static_cast<std::uint32_t>(crc);
    return static_cast<int>(~take(before, bytes, static_cast<std::size_t>(length)));
}

}  // namespace Qv
