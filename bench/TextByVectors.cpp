// Compiled for processors with AVX2.

#include "TextByVectors.h"

#include <immintrin.h>

#include <bit>
#include <cstdint>
#include <cstring>
#include <memory>
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

constexpr std::size_t kSizeOfPiece = 7;  // on the average, with the delimiter
constexpr std::size_t kCharacters = sizeof(__m256i) / sizeof(char32_t);

bool isAscii(__m256i characters) { return _mm256_testz_si256(characters, _mm256_set1_epi32(~0x7F)) != 0; }

// Otherwise nobody would need what has been stored.
void escape(const void* result) { asm volatile("" : : "r"(result) : "memory"); }

std::size_t lowestBit(std::uint64_t mask) { return static_cast<std::size_t>(std::countr_zero(mask)); }

}  // namespace

bool hasVectors() { return __builtin_cpu_supports("avx2") != 0; }

std::size_t splitByVectors(const std::string& text) {
    const __m256i first = _mm256_set1_epi8(kDelimiters[0]);
    const __m256i second = _mm256_set1_epi8(kDelimiters[1]);
    const __m256i third = _mm256_set1_epi8(kDelimiters[2]);
    std::vector<std::string> pieces;
    pieces.reserve(text.size() / kSizeOfPiece);
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
    return pieces.size();
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

std::size_t widenByVectors(const std::string& text) {
    const auto wide = std::make_unique_for_overwrite<char32_t[]>(text.size());
    __m256i seen = _mm256_setzero_si256();
    for (std::size_t i = 0; i < text.size(); i += kCharacters) {
        const auto bytes = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(text.data() + i));
        const __m256i characters = _mm256_cvtepu8_epi32(bytes);
        seen = _mm256_or_si256(seen, characters);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(wide.get() + i), characters);
    }
    escape(wide.get());
    return isAscii(seen) ? text.size() : 0;
}

std::size_t narrowByVectors(const std::string& wide) {
    const std::size_t count = wide.size() / sizeof(char32_t);
    const auto text = std::make_unique_for_overwrite<char[]>(count);
    const __m256i order = _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7);
    __m256i seen = _mm256_setzero_si256();
    for (std::size_t i = 0; i < count; i += sizeof(__m256i)) {
        __m256i parts[4];
        for (std::size_t part = 0; part < 4; ++part) {
            const char* from = wide.data() + i * sizeof(char32_t) + part * sizeof(__m256i);
            parts[part] = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from));
            seen = _mm256_or_si256(seen, parts[part]);
        }
        const __m256i bytes = _mm256_packus_epi16(_mm256_packus_epi32(parts[0], parts[1]),
                                                  _mm256_packus_epi32(parts[2], parts[3]));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(text.get() + i),
                            _mm256_permutevar8x32_epi32(bytes, order));
    }
    escape(text.get());
    return isAscii(seen) ? count : 0;
}

}  // namespace bench
