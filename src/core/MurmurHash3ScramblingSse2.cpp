#include "core/MurmurHash3Scrambling.h"

#include <emmintrin.h>

namespace Qv::detail {
namespace {

// Scrambles the words in the lower halves of a vector, which belong to the lanes `kLane` and `kLane + 2`,
// using only multiplications: a rotation is a multiplication by a power of two, with both halves of the
// product combined.
template <std::size_t kLane>
__m128i scrambledPair(__m128i words) {
    constexpr auto kOne = kScrambles32[kLane];
    constexpr auto kOther = kScrambles32[kLane + 2];
    const auto factors = [](std::uint32_t one, std::uint32_t other) {
        return _mm_set_epi32(0, static_cast<int>(other), 0, static_cast<int>(one));
    };
    words = _mm_mul_epu32(words, factors(kOne.first, kOther.first));
    words = _mm_mul_epu32(words, factors(1U << kOne.rotation, 1U << kOther.rotation));
    words = _mm_or_si128(words, _mm_srli_epi64(words, 32));
    return _mm_mul_epu32(words, factors(kOne.second, kOther.second));
}

}  // namespace

void scrambleBySse2(const unsigned char* blocks, std::size_t count, std::array<std::uint32_t, 4>* words) {
    for (; count != 0; --count, blocks += sizeof *words, ++words) {
        const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(blocks));
        const __m128i even = _mm_shuffle_epi32(scrambledPair<0>(block), _MM_SHUFFLE(3, 1, 2, 0));
        const __m128i odd =
            _mm_shuffle_epi32(scrambledPair<1>(_mm_srli_epi64(block, 32)), _MM_SHUFFLE(3, 1, 2, 0));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(words), _mm_unpacklo_epi32(even, odd));
    }
}

}  // namespace Qv::detail
