#define QV_FOLDING __attribute__((target("pclmul,vpclmulqdq,avx512f,avx512vl")))
#include "core/CRC32Folding.h"

namespace Qv::detail {
namespace {

struct Vector {
    using Register = __m512i;

    QV_FOLDING static Register load(const void* bytes) { return _mm512_loadu_si512(bytes); }
    QV_FOLDING static Register startingWith(std::uint32_t crc) {
        return _mm512_zextsi128_si512(_mm_cvtsi32_si128(static_cast<int>(crc)));
    }
    QV_FOLDING static Register sum(Register a, Register b) { return _mm512_xor_si512(a, b); }
    template <std::size_t kBytes>
    QV_FOLDING static Register factors() {
        constexpr auto kFirst = static_cast<long long>(Across<kBytes>::kFirst);
        constexpr auto kSecond = static_cast<long long>(Across<kBytes>::kSecond);
        return _mm512_set4_epi64(kSecond, kFirst, kSecond, kFirst);
    }
    QV_FOLDING static Register fold(Register later, Register earlier, Register factors) {
        const Register first = _mm512_clmulepi64_epi128(earlier, factors, 0x00);
        const Register second = _mm512_clmulepi64_epi128(earlier, factors, 0x11);
        constexpr int kSumOfThree = 0x96;
        return _mm512_ternarylogic_epi64(later, first, second, kSumOfThree);
    }
    // The form without a mask triggers a false warning of GCC 12.
    template <int kIndex>
    QV_FOLDING static __m128i laneOf(Register value) {
        return _mm512_maskz_extracti32x4_epi32(0xF, value, kIndex);
    }
    QV_FOLDING static __m128i toLane(Register value) {
        __m128i lane = laneOf<3>(value);
        lane = foldLane(lane, laneOf<2>(value), laneFactors<kLane>());
        lane = foldLane(lane, laneOf<1>(value), laneFactors<2 * kLane>());
        return foldLane(lane, laneOf<0>(value), laneFactors<3 * kLane>());
    }
};

}  // namespace

CrcPath crcByFolding512() {
    const bool isOffered = __builtin_cpu_supports("vpclmulqdq") != 0 &&
                           __builtin_cpu_supports("pclmul") != 0 && __builtin_cpu_supports("avx512f") != 0 &&
                           __builtin_cpu_supports("avx512vl") != 0;
    return isOffered ? crcByFolding<Vector> : nullptr;
}

}  // namespace Qv::detail
