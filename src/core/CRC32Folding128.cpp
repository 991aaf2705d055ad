#include "core/CRC32Folding.h"

namespace Qv::detail {
namespace {

struct Vector {
    using Register = __m128i;

    QV_FOLDING static Register load(const void* bytes) { return loadLane(bytes); }
    QV_FOLDING static Register startingWith(std::uint32_t crc) {
        return _mm_cvtsi32_si128(static_cast<int>(crc));
    }
    QV_FOLDING static Register sum(Register a, Register b) { return _mm_xor_si128(a, b); }
    template <std::size_t kBytes>
    QV_FOLDING static Register factors() {
        return laneFactors<kBytes>();
    }
    QV_FOLDING static Register fold(Register later, Register earlier, Register factors) {
        return foldLane(later, earlier, factors);
    }
    QV_FOLDING static __m128i toLane(Register value) { return value; }
};

}  // namespace

CrcPath crcByFolding128() {
    const bool isOffered = __builtin_cpu_supports("pclmul") != 0 && __builtin_cpu_supports("sse4.1") != 0;
    return isOffered ? crcByFolding<Vector> : nullptr;
}

}  // namespace Qv::detail
