#pragma once

#include <array>
#include <cstdint>

namespace os::posix {

/// Reads words of this process's memory that may be unmapped or protected. The kernel copies them, so a wrong
/// address is a failure and never a fault, even while another thread unmaps it. Async-signal-safe.
///
/// Neighbouring words are copied together. Use an object only briefly: it may return a word as it was when
/// its neighbour was read.
class LocalMemory {
public:
    /// False if the address is not readable or not aligned.
    bool read(std::uintptr_t address, std::uintptr_t& value);

private:
    static constexpr std::size_t kWords = 256;
    static constexpr std::uintptr_t kNowhere = 1;

    std::uintptr_t begin_ = kNowhere;
    std::array<std::uintptr_t, kWords> words_{};
};

}  // namespace os::posix
