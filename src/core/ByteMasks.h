#pragma once

// Finds bytes in blocks of 64: bit i of a mask stands for byte i of the block. SSE2 belongs to every x86-64
// processor, so nothing is chosen at run time.

#include <emmintrin.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace QvSim::StringUtils::detail {

inline constexpr std::size_t kBlock = 64;

/// All bits from `first` on; none if `first` is 64.
inline std::uint64_t bitsFrom(std::size_t first) { return first < kBlock ? ~std::uint64_t{0} << first : 0; }

/// The mask of a block from those of its four lanes: `lane(i)` has 0xFF in each byte that is found in the
/// sixteen bytes at offset `i`.
template <typename Lane>
std::uint64_t maskOfLanes(Lane lane) {
    std::uint64_t mask = 0;
    for (std::size_t i = 0; i < kBlock; i += sizeof(__m128i)) {
        const auto bits = static_cast<std::uint16_t>(_mm_movemask_epi8(lane(i)));
        mask |= static_cast<std::uint64_t>(bits) << i;
    }
    return mask;
}

/// 0xFF in each of the sixteen bytes that equals the byte that fills `wanted`.
inline __m128i equalBytes(const char* bytes, __m128i wanted) {
    return _mm_cmpeq_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes)), wanted);
}

/// A block that starts with `bytes`, at most 64, and continues with zeros.
class PaddedBlock {
public:
    explicit PaddedBlock(std::string_view bytes) { std::copy(bytes.begin(), bytes.end(), bytes_.begin()); }
    const char* data() const { return bytes_.data(); }

private:
    std::array<char, kBlock> bytes_{};
};

/// A set of bytes, not empty. Up to four are compared in vectors, more are looked up in a table.
class ByteSet {
    static constexpr std::size_t kFew = 4;

public:
    explicit ByteSet(std::string_view bytes) : isSmall_(bytes.size() <= kFew) {
        for (std::size_t i = 0; isSmall_ && i < kFew; ++i)
            few_[i] = _mm_set1_epi8(bytes[std::min(i, bytes.size() - 1)]);
        for (const char byte : bytes) contains_[static_cast<unsigned char>(byte)] = true;
    }

    std::uint64_t maskOf(const char* block) const { return isSmall_ ? maskOfFew(block) : maskByTable(block); }

private:
    std::uint64_t maskOfFew(const char* block) const {
        return maskOfLanes([&](std::size_t i) {
            const char* const bytes = block + i;
            return _mm_or_si128(_mm_or_si128(equalBytes(bytes, few_[0]), equalBytes(bytes, few_[1])),
                                _mm_or_si128(equalBytes(bytes, few_[2]), equalBytes(bytes, few_[3])));
        });
    }
    std::uint64_t maskByTable(const char* block) const {
        std::uint64_t mask = 0;
        for (std::size_t i = 0; i < kBlock; ++i)
            mask |= static_cast<std::uint64_t>(contains_[static_cast<unsigned char>(block[i])]) << i;
        return mask;
    }

    __m128i few_[kFew] = {};
    bool contains_[256] = {};
    bool isSmall_;
};

/// Calls `use` with the number of each bit that is set, the lowest first.
template <typename Use>
void forEachBit(std::uint64_t mask, Use use) {
    for (; mask != 0; mask &= mask - 1) use(static_cast<std::size_t>(std::countr_zero(mask)));
}

/// Calls `use(mask, offset)` for each block of the text. All bits from the text's end on are set, and at
/// least one: the end counts as an element of the set.
template <typename Use>
void forEachBlock(std::string_view text, const ByteSet& set, Use use) {
    std::size_t offset = 0;
    for (; text.size() - offset >= kBlock; offset += kBlock) use(set.maskOf(text.data() + offset), offset);
    const PaddedBlock rest(text.substr(offset));
    use(set.maskOf(rest.data()) | bitsFrom(text.size() - offset), offset);
}

/// Calls `use(offset)` for each occurrence of `wanted`, which is not empty, from `start` on, from left to
/// right without overlaps. Where the first and the last byte are right, compares the others.
template <typename Use>
void forEachHit(std::string_view text, std::string_view wanted, std::size_t start, Use use) {
    if (text.size() - start < wanted.size()) return;
    const std::size_t last = wanted.size() - 1;
    const std::size_t end = text.size() - last;  // past the last offset at which an occurrence can start
    const __m128i firstByte = _mm_set1_epi8(wanted.front());
    const __m128i lastByte = _mm_set1_epi8(wanted.back());
    std::size_t next = start;
    const auto useBlock = [&](std::size_t offset, const char* firsts, const char* lasts,
                              std::uint64_t valid) {
        const std::uint64_t mask =
            valid & maskOfLanes([&](std::size_t i) {
                return _mm_and_si128(equalBytes(firsts + i, firstByte), equalBytes(lasts + i, lastByte));
            });
        forEachBit(mask, [&](std::size_t bit) {
            const std::size_t hit = offset + bit;
            if (hit < next || std::memcmp(text.data() + hit, wanted.data(), last) != 0) return;
            use(hit);
            next = hit + wanted.size();
        });
    };
    std::size_t offset = start;
    for (; end - offset >= kBlock; offset += kBlock)
        useBlock(offset, text.data() + offset, text.data() + offset + last, bitsFrom(0));
    const std::size_t count = end - offset;
    useBlock(offset, PaddedBlock(text.substr(offset, count)).data(),
             PaddedBlock(text.substr(offset + last)).data(), ~bitsFrom(count));
}

}  // namespace QvSim::StringUtils::detail
