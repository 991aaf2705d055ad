#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace qvp {

/// Memory that a child shares with its parent. What the child has written stays when the child ends, and
/// code in the child that closes descriptors or handles does not reach it. Initially zero.
struct ReportArea {
    static constexpr std::size_t kCapacity = std::size_t{16} << 20U;

    /// In the child, any thread: appends a line; it is lost if the area is full.
    void append(std::string_view line) noexcept;

    std::atomic<std::uint64_t> size;        ///< of the lines; larger than the capacity if some were lost
    std::atomic<std::uint32_t> calledExit;  ///< not 0 once the child runs its exit handlers
    char text[kCapacity];
};

}  // namespace qvp
