#include "core/MurmurHash3Scrambling.h"

#include <immintrin.h>

#define QV_SCRAMBLING __attribute__((target("avx2")))

namespace Qv::detail {
namespace {

// A number of each lane's scramble, for two blocks.
template <typename Member>
QV_SCRAMBLING inline __m256i ofEachLane(Member member) {
    const auto number = [&](std::size_t lane) { return static_cast<int>(member(kScrambles32[lane])); };
    return _mm256_broadcastsi128_si256(_mm_setr_epi32(number(0), number(1), number(2), number(3)));
}

QV_SCRAMBLING void scramble(const unsigned char* blocks, std::size_t count,
                            std::array<std::uint32_t, 4>* words) {
    using Lane = Scramble<std::uint32_t>;
    const __m256i first = ofEachLane([](const Lane& lane) { return lane.first; });
    const __m256i second = ofEachLane([](const Lane& lane) { return lane.second; });
    const __m256i left = ofEachLane([](const Lane& lane) { return lane.rotation; });
    const __m256i right = ofEachLane([](const Lane& lane) { return 32 - lane.rotation; });
    for (; count >= 2; count -= 2, blocks += sizeof left, words += 2) {
        __m256i both = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(blocks));
        both = _mm256_mullo_epi32(both, first);
        both = _mm256_or_si256(_mm256_sllv_epi32(both, left), _mm256_srlv_epi32(both, right));
        both = _mm256_mullo_epi32(both, second);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(words), both);
    }
    if (count != 0) scrambleBySse2(blocks, count, words);
}

}  // namespace

Scrambling scramblingByAvx2() { return __builtin_cpu_supports("avx2") != 0 ? scramble : nullptr; }

}  // namespace Qv::detail
