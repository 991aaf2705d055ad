#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

namespace os::posix {

/// Whole words.
struct MemoryRange {
    std::uintptr_t begin = 0;
    std::uintptr_t bytes = 0;
};

/// Reads words of this process's memory that may be unmapped or protected. The kernel copies them, so a wrong
/// address is a failure and never a fault, even while another thread unmaps it. Async-signal-safe.
///
/// Neighbouring words are copied together. Use an object only briefly: it may return a word as it was when
/// its neighbour was read.
class LocalMemory {
public:
    /// From now on reads the words in `range` directly, which is faster: they must stay readable.
    void readDirectly(const MemoryRange& range) { direct_ = range; }

    /// False if the address is not readable or not aligned.
    bool read(std::uintptr_t address, std::uintptr_t& value);
    /// True if `readDirectly` covers all words from `address` on.
    bool isDirect(std::uintptr_t address, std::uintptr_t bytes) const {
        const std::uintptr_t offset = address - direct_.begin;
        return offset < direct_.bytes && bytes <= direct_.bytes - offset && address % sizeof address == 0;
    }
    /// A word for which `isDirect` is true.
    // Sanitizers must not check reads of other functions' stack frames.
    __attribute__((no_sanitize("address", "thread", "undefined"))) static std::uintptr_t wordAt(
        std::uintptr_t address) {
        return *std::bit_cast<const volatile std::uintptr_t*>(address);
    }

    /// True if the word can be read now. Costs less than `read`.
    static bool isReadable(std::uintptr_t address);

private:
    static bool copyFrom(std::uintptr_t address, std::uintptr_t* words, std::size_t count);

    static constexpr std::size_t kWords = 256;
    static constexpr std::uintptr_t kNowhere = 1;

    MemoryRange direct_;
    std::uintptr_t begin_ = kNowhere;           ///< of `words_`
    std::array<std::uintptr_t, kWords> words_;  // without a value, because most walks do not need it
};

/// The part of the calling thread's stack from `stackPointer` to its outermost frame, which stays readable
/// while frames above are in use. Empty if the thread runs on another stack, such as an alternate one, or the
/// range is unknown. The thread's first call may allocate and read files.
MemoryRange usedStack(std::uintptr_t stackPointer);

}  // namespace os::posix
