#pragma once

#include <cstddef>
#include <cstdint>

namespace os::posix {

/// Reads the encodings of frame information from memory.
class CodeReader {
public:
    CodeReader() = default;
    CodeReader(const std::uint8_t* begin, const std::uint8_t* end) : at_(begin), end_(end) {}

    bool atEnd() const { return at_ >= end_; }
    const std::uint8_t* at() const { return at_; }
    const std::uint8_t* end() const { return end_; }
    /// The same range from `at` on; empty if that is not in it.
    CodeReader from(const std::uint8_t* at) const {
        const auto offset = reinterpret_cast<std::uintptr_t>(at) - reinterpret_cast<std::uintptr_t>(at_);
        return offset < static_cast<std::uintptr_t>(end_ - at_) ? CodeReader(at_ + offset, end_)
                                                                : CodeReader();
    }
    void skip(std::uint64_t bytes) {
        at_ = bytes < static_cast<std::uint64_t>(end_ - at_) ? at_ + bytes : end_;
    }

    /// 0 past the end.
    template <typename T>
    T take() {
        T value{};
        if (static_cast<std::size_t>(end_ - at_) < sizeof value) {
            at_ = end_;
            return value;
        }
        __builtin_memcpy(&value, at_, sizeof value);
        at_ += sizeof value;
        return value;
    }
    std::uint64_t uleb();
    std::int64_t sleb();
    /// Reads an address in one of the pointer encodings.
    std::uintptr_t pointer(std::uint8_t encoding);

private:
    const std::uint8_t* at_ = nullptr;
    const std::uint8_t* end_ = nullptr;
};

/// Depends on all bits of both words, and on which is which.
inline std::uint64_t mixed(std::uint64_t first, std::uint64_t second) {
    __extension__ using Wide = unsigned __int128;
    const Wide product = static_cast<Wide>(first ^ 0x9e3779b97f4a7c15) * (second ^ 0xd1b54a32d192ed03);
    return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64U);
}

/// Of what is left to read.
std::uint64_t checksumOf(CodeReader reader, std::uint64_t start);

}  // namespace os::posix
