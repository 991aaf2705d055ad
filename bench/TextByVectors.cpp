// Compiled for processors with AVX2.

#include "TextByVectors.h"

#include <immintrin.h>

#include <bit>
#include <cstdint>
#include <cstring>
#include <vector>

namespace bench {

const std::string kDelimiters = ",;\n";
const std::string kFrom = "contact";
const std::string kTo = "constraint";

namespace {

constexpr std::size_t kBlock = 64;

__m256i equalBytes(const char* bytes, __m256i wanted) {
    return _mm256_cmpeq_epi8(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(bytes)), wanted);
}

// Bit i is set if `isWanted` accepts byte i of the block.
template <typename IsWanted>
std::uint64_t maskOf(const char* block, IsWanted isWanted) {
    const auto low = static_cast<std::uint32_t>(_mm256_movemask_epi8(isWanted(block)));
    const auto high = static_cast<std::uint32_t>(_mm256_movemask_epi8(isWanted(block + sizeof(__m256i))));
    return low | static_cast<std::uint64_t>(high) << 32U;
}

std::size_t lowestBit(std::uint64_t mask) { return static_cast<std::size_t>(std::countr_zero(mask)); }

}  // namespace

bool hasVectors() { return __builtin_cpu_supports("avx2") != 0; }

std::size_t splitByVectors(const std::string& text) {
    static std::size_t expected = 0;
    const __m256i first = _mm256_set1_epi8(kDelimiters[0]);
    const __m256i second = _mm256_set1_epi8(kDelimiters[1]);
    const __m256i third = _mm256_set1_epi8(kDelimiters[2]);
    std::vector<std::string> pieces;
    pieces.reserve(expected);
    std::size_t start = 0;
    for (std::size_t block = 0; block < text.size(); block += kBlock) {
        std::uint64_t mask = maskOf(text.data() + block, [&](const char* bytes) {
            return _mm256_or_si256(_mm256_or_si256(equalBytes(bytes, first), equalBytes(bytes, second)),
                                   equalBytes(bytes, third));
        });
        for (; mask != 0; mask &= mask - 1) {
            const std::size_t stop = block + lowestBit(mask);
            if (stop != start) pieces.emplace_back(text.data() + start, stop - start);
            start = stop + 1;
        }
    }
    if (start != text.size()) pieces.emplace_back(text.data() + start, text.size() - start);
    expected = pieces.size();
    return expected;
}

std::size_t replaceByVectors(const std::string& text) {
    const std::size_t length = kFrom.size();
    const __m256i first = _mm256_set1_epi8(kFrom.front());
    const __m256i last = _mm256_set1_epi8(kFrom.back());
    std::string result;
    result.reserve(text.size() + text.size() / 30);
    std::size_t start = 0;
    const auto useHit = [&](std::size_t hit) {
        if (hit < start || std::memcmp(text.data() + hit, kFrom.data(), length) != 0) return;
        result.append(text, start, hit - start).append(kTo);
        start = hit + length;
    };
    std::size_t block = 0;
    for (; block + kBlock + length <= text.size(); block += kBlock) {
        std::uint64_t mask = maskOf(text.data() + block, [&](const char* bytes) {
            return _mm256_and_si256(equalBytes(bytes, first), equalBytes(bytes + length - 1, last));
        });
        for (; mask != 0; mask &= mask - 1) useHit(block + lowestBit(mask));
    }
    for (; block + length <= text.size(); ++block) useHit(block);
    return result.append(text, start).size();
}

}  // namespace bench
