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
        constexpr long long kFirst = number(Across<kBytes>::kFirst);
        constexpr long long kSecond = number(Across<kBytes>::kSecond);
        return _mm512_set4_epi64(kSecond, kFirst, kSecond, kFirst);
    }
    QV_FOLDING static Register fold(Register later, Register earlier, Register factors) {
        const Register first = _mm512_clmulepi64_epi128(earlier, factors, 0x00);
        const Register second = _mm512_clmulepi64_epi128(earlier, factors, 0x11);
        constexpr int kSumOfThree = 0x96;
        return _mm512_ternarylogic_epi64(later, first, second, kSumOfThree);
    }
    // All lanes at once are folded into the last one, which itself stays.
    QV_FOLDING static __m128i toLane(Register value) {
        using First = Across<3 * kLane>;
        using Second = Across<2 * kLane>;
        using Third = Across<kLane>;
        const Register factors =
            _mm512_set_epi64(0, 0, number(Third::kSecond), number(Third::kFirst), number(Second::kSecond),
                             number(Second::kFirst), number(First::kSecond), number(First::kFirst));
        constexpr __mmask8 kLast = 0xC0;
        const Register lanes = fold(_mm512_maskz_mov_epi64(kLast, value), value, factors);
        const __m256i pairs = _mm256_xor_si256(half<0>(lanes), half<1>(lanes));
        return _mm_xor_si128(_mm256_castsi256_si128(pairs), _mm256_extracti128_si256(pairs, 1));
    }

private:
    static constexpr long long number(std::uint64_t bits) { return static_cast<long long>(bits); }
    // The form without a mask triggers a false warning of GCC 12.
    template <int kIndex>
    QV_FOLDING static __m256i half(Register value) {
        return _mm512_maskz_extracti64x4_epi64(0xF, value, kIndex);
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
