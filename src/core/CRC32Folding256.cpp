#define QV_FOLDING __attribute__((target("pclmul,vpclmulqdq,avx2")))
#include "core/CRC32Folding.h"

namespace Qv::detail {
namespace {

struct Vector {
    using Register = __m256i;

    QV_FOLDING static Register load(const void* bytes) {
        return _mm256_loadu_si256(static_cast<const __m256i*>(bytes));
    }
    QV_FOLDING static Register startingWith(std::uint32_t crc) {
        return _mm256_zextsi128_si256(_mm_cvtsi32_si128(static_cast<int>(crc)));
    }
    QV_FOLDING static Register sum(Register a, Register b) { return _mm256_xor_si256(a, b); }
    template <std::size_t kBytes>
    QV_FOLDING static Register factors() {
        return _mm256_broadcastsi128_si256(laneFactors<kBytes>());
    }
    QV_FOLDING static Register fold(Register later, Register earlier, Register factors) {
        const Register first = _mm256_clmulepi64_epi128(earlier, factors, 0x00);
        return sum(later, sum(first, _mm256_clmulepi64_epi128(earlier, factors, 0x11)));
    }
    QV_FOLDING static __m128i toLane(Register value) {
        return foldLane(_mm256_extracti128_si256(value, 1), _mm256_castsi256_si128(value),
                        laneFactors<kLane>());
    }
};

}  // namespace

CrcPath crcByFolding256() {
    const bool isOffered = __builtin_cpu_supports("vpclmulqdq") != 0 &&
                           __builtin_cpu_supports("pclmul") != 0 && __builtin_cpu_supports("avx2") != 0;
    return isOffered ? crcByFolding<Vector> : nullptr;
}

}  // namespace Qv::detail
