// The bytes are the coefficients of a polynomial, of which the checksum is the remainder by the CRC's own.
// Sixteen bytes times x^n modulo that polynomial can take the place of sixteen bytes that stand n bits
// earlier, so blocks are multiplied into later ones until one is left. (V. Gopal and others, "Fast CRC
// Computation for Generic Polynomials Using PCLMULQDQ Instruction", 2009.)

#include "core/Crc32Paths.h"

#include <immintrin.h>

#define QV_FOLDING __attribute__((target("pclmul,sse2")))

namespace Qv::detail {
namespace {

constexpr std::size_t kLane = sizeof(__m128i);
constexpr std::size_t kLanes = 8;

// x^n modulo the polynomial, in reflected order and one bit up, as the multiplication wants it.
constexpr std::uint64_t powerOfX(unsigned int n) {
    std::uint32_t value = 0x80000000;
    for (; n != 0; --n) value = value >> 1U ^ ((value & 1U) != 0 ? 0xEDB88320 : 0);
    return std::uint64_t{value} << 1U;
}

QV_FOLDING __m128i load(const unsigned char* bytes) {
    return _mm_loadu_si128(static_cast<const __m128i*>(static_cast<const void*>(bytes)));
}

QV_FOLDING __m128i multipliers(unsigned long long forFirstHalf, unsigned long long forSecondHalf) {
    return _mm_set_epi64x(static_cast<long long>(forSecondHalf), static_cast<long long>(forFirstHalf));
}

QV_FOLDING __m128i foldInto(__m128i later, __m128i lane, __m128i factors) {
    const __m128i first = _mm_clmulepi64_si128(lane, factors, 0x00);
    const __m128i second = _mm_clmulepi64_si128(lane, factors, 0x11);
    return _mm_xor_si128(later, _mm_xor_si128(first, second));
}

QV_FOLDING __m128i acrossLanes(std::size_t lanes) {
    if (lanes == 1) return multipliers(powerOfX(128 + 32), powerOfX(128 - 32));
    constexpr unsigned int kBits = 128 * kLanes;
    return multipliers(powerOfX(kBits + 32), powerOfX(kBits - 32));
}

// Takes whole blocks of all lanes, at least one; the result stands for all bytes taken.
QV_FOLDING __m128i foldBlocks(__m128i start, const unsigned char*& bytes, std::size_t& count) {
    const __m128i factors = acrossLanes(kLanes);
    __m128i lanes[kLanes];
    for (std::size_t i = 0; i < kLanes; ++i) lanes[i] = load(bytes + i * kLane);
    lanes[0] = _mm_xor_si128(lanes[0], start);
    constexpr std::size_t kBlock = kLanes * kLane;
    for (bytes += kBlock, count -= kBlock; count >= kBlock; bytes += kBlock, count -= kBlock) {
        for (std::size_t i = 0; i < kLanes; ++i)
            lanes[i] = foldInto(load(bytes + i * kLane), lanes[i], factors);
    }
    const __m128i toNext = acrossLanes(1);
    __m128i whole = lanes[0];
    for (std::size_t i = 1; i < kLanes; ++i) whole = foldInto(lanes[i], whole, toNext);
    return whole;
}

QV_FOLDING __m128i foldFirst(__m128i start, const unsigned char*& bytes, std::size_t& count) {
    if (count >= kLanes * kLane) return foldBlocks(start, bytes, count);
    const __m128i first = _mm_xor_si128(load(bytes), start);
    bytes += kLane;
    count -= kLane;
    return first;
}

}  // namespace

bool canFold() { return __builtin_cpu_supports("pclmul") != 0; }

QV_FOLDING std::uint32_t crcByFolding(std::uint32_t crc, const unsigned char* bytes, std::size_t count) {
    if (count < kLane) return crcByTables(crc, bytes, count);
    __m128i whole = foldFirst(_mm_cvtsi32_si128(static_cast<int>(crc)), bytes, count);
    const __m128i toNext = acrossLanes(1);
    for (; count >= kLane; bytes += kLane, count -= kLane) whole = foldInto(load(bytes), whole, toNext);
    unsigned char last[kLane];
    _mm_storeu_si128(static_cast<__m128i*>(static_cast<void*>(last)), whole);
    return crcByTables(crcByTables(0, last, kLane), bytes, count);
}

}  // namespace Qv::detail
