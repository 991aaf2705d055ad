#pragma once

// The bytes are the coefficients of a polynomial. The checksum is the remainder of its division by the CRC
// polynomial. A block of sixteen bytes can be replaced by its product with x^n, modulo the CRC polynomial,
// added to the block n bits later. So blocks are folded into later ones until one is left. That one is
// divided by multiplying it with the reciprocal of the CRC polynomial. (V. Gopal and others, "Fast CRC
// Computation for Generic Polynomials Using PCLMULQDQ Instruction", 2009.)
//
// Each instruction set has its own source file, which includes this header and provides `Vector`: the
// register type and its operations. All but the narrowest set first define QV_FOLDING, the attribute that
// makes a function use the instruction set.

#include "core/CRC32Paths.h"

#include <immintrin.h>

#ifndef QV_FOLDING
#define QV_FOLDING __attribute__((target("pclmul,sse4.1")))
#endif

namespace Qv::detail {
namespace {

inline constexpr std::size_t kLane = sizeof(__m128i);

// x^n modulo the polynomial, in reflected order.
constexpr std::uint64_t powerOfX(std::size_t n) {
    std::uint32_t value = 0x80000000;
    for (; n != 0; --n) value = value >> 1U ^ ((value & 1U) != 0 ? 0xEDB88320 : 0);
    return value;
}

// x^96 divided by the polynomial, without the coefficient of 1, in reflected order.
constexpr std::uint64_t reciprocal() {
    std::uint64_t quotient = 0;
    for (std::size_t i = 0; i < 64; ++i) quotient |= (powerOfX(31 + i) & 1U) << i;
    return quotient;
}

/// The factors that fold sixteen bytes into those `kBytes` later: one for each half, shifted by one bit as
/// the multiplication of reflected values requires.
template <std::size_t kBytes>
struct Across {
    static constexpr std::uint64_t kFirst = powerOfX(8 * kBytes + 32) << 1U;
    static constexpr std::uint64_t kSecond = powerOfX(8 * kBytes - 32) << 1U;
};

QV_FOLDING inline __m128i halves(std::uint64_t first, std::uint64_t second) {
    return _mm_set_epi64x(static_cast<long long>(second), static_cast<long long>(first));
}

template <std::size_t kBytes>
QV_FOLDING inline __m128i laneFactors() {
    return halves(Across<kBytes>::kFirst, Across<kBytes>::kSecond);
}

QV_FOLDING inline __m128i loadLane(const void* bytes) {
    return _mm_loadu_si128(static_cast<const __m128i*>(bytes));
}

QV_FOLDING inline __m128i foldLane(__m128i later, __m128i lane, __m128i factors) {
    const __m128i first = _mm_clmulepi64_si128(lane, factors, 0x00);
    const __m128i second = _mm_clmulepi64_si128(lane, factors, 0x11);
    return _mm_xor_si128(later, _mm_xor_si128(first, second));
}

// Folds the lane into the last bytes, which are fewer than sixteen: of the lane and the rest together, the
// last sixteen bytes stay and the bytes before them are folded into these. Precondition: at least sixteen
// bytes precede `rest`.
QV_FOLDING inline __m128i foldRest(__m128i lane, const unsigned char* rest, std::size_t count) {
    alignas(kLane) static constexpr unsigned char kPlaces[3 * kLane] = {
        0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80,
        0,    1,    2,    3,    4,    5,    6,    7,    8,    9,    10,   11,   12,   13,   14,   15,
        0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80};
    const __m128i leaving = _mm_shuffle_epi8(lane, loadLane(kPlaces + count));
    const __m128i isNew = loadLane(kPlaces + kLane + count);
    const __m128i staying = _mm_shuffle_epi8(lane, isNew);
    const __m128i last = _mm_blendv_epi8(staying, loadLane(rest + count - kLane), isNew);
    return foldLane(last, leaving, laneFactors<kLane>());
}

// The remainder of the lane times x^32. The first half is folded, which leaves 96 bits; then the quotient
// gives the multiple of the polynomial to subtract.
QV_FOLDING inline std::uint32_t remainderOf(__m128i lane) {
    constexpr std::uint64_t kToFirst = powerOfX(95) << 32U;
    constexpr std::uint64_t kReciprocal = reciprocal();
    constexpr std::uint64_t kPolynomial = powerOfX(32) << 1U;
    const __m128i factors = halves(kToFirst, kReciprocal);
    const __m128i second = _mm_slli_si128(_mm_srli_si128(lane, 8), 4);
    const __m128i value = _mm_xor_si128(_mm_clmulepi64_si128(lane, factors, 0x00), second);
    const __m128i upper = _mm_srli_si128(value, 4);
    const __m128i quotient = _mm_clmulepi64_si128(upper, factors, 0x10);
    const __m128i multiple = _mm_clmulepi64_si128(quotient, halves(kPolynomial, 0), 0x00);
    return static_cast<std::uint32_t>(_mm_extract_epi32(value, 3) ^ _mm_extract_epi32(multiple, 2));
}

// Asks for a block's cache lines that are `kAhead` bytes later. The processor does so by itself only up to
// the end of a page, which costs a long input that comes from memory a quarter of its time. `count` bytes are
// left.
template <std::size_t kBlock>
QV_FOLDING inline void fetchAhead(const unsigned char* bytes, std::size_t count) {
    constexpr std::size_t kAhead = 8192;
    constexpr std::size_t kLine = 64;
    if (count < kAhead + kBlock) return;
    for (std::size_t i = 0; i < kBlock; i += kLine) _mm_prefetch(bytes + kAhead + i, _MM_HINT_T0);
}

// Folds whole blocks of four vectors, at least one, and advances past them. The result replaces these bytes.
template <typename Vector>
QV_FOLDING inline auto foldBlocks(typename Vector::Register start, const unsigned char*& bytes,
                                  std::size_t& count) {
    constexpr std::size_t kSize = sizeof start;
    auto a = Vector::sum(Vector::load(bytes), start);
    auto b = Vector::load(bytes + kSize);
    auto c = Vector::load(bytes + 2 * kSize);
    auto d = Vector::load(bytes + 3 * kSize);
    const auto toNextBlock = Vector::template factors<4 * kSize>();
    for (bytes += 4 * kSize, count -= 4 * kSize; count >= 4 * kSize; bytes += 4 * kSize, count -= 4 * kSize) {
        fetchAhead<4 * kSize>(bytes, count);
        a = Vector::fold(Vector::load(bytes), a, toNextBlock);
        b = Vector::fold(Vector::load(bytes + kSize), b, toNextBlock);
        c = Vector::fold(Vector::load(bytes + 2 * kSize), c, toNextBlock);
        d = Vector::fold(Vector::load(bytes + 3 * kSize), d, toNextBlock);
    }
    d = Vector::fold(d, c, Vector::template factors<kSize>());
    d = Vector::fold(d, b, Vector::template factors<2 * kSize>());
    return Vector::fold(d, a, Vector::template factors<3 * kSize>());
}

// Folds whole vectors, at least one, and advances past them.
template <typename Vector>
QV_FOLDING inline __m128i foldVectors(std::uint32_t crc, const unsigned char*& bytes, std::size_t& count) {
    auto value = Vector::startingWith(crc);
    constexpr std::size_t kSize = sizeof value;
    if (count >= 4 * kSize) {
        value = foldBlocks<Vector>(value, bytes, count);
    } else {
        value = Vector::sum(Vector::load(bytes), value);
        bytes += kSize;
        count -= kSize;
    }
    const auto toNext = Vector::template factors<kSize>();
    for (; count >= kSize; bytes += kSize, count -= kSize)
        value = Vector::fold(Vector::load(bytes), value, toNext);
    return Vector::toLane(value);
}

template <typename Vector>
QV_FOLDING std::uint32_t crcByFolding(std::uint32_t crc, const unsigned char* bytes, std::size_t count) {
    if (count < kLane) return crcByTables(crc, bytes, count);
    __m128i lane;
    if (count >= sizeof(typename Vector::Register)) {
        lane = foldVectors<Vector>(crc, bytes, count);
    } else {
        lane = _mm_xor_si128(loadLane(bytes), _mm_cvtsi32_si128(static_cast<int>(crc)));
        bytes += kLane;
        count -= kLane;
    }
    for (; count >= kLane; bytes += kLane, count -= kLane)
        lane = foldLane(loadLane(bytes), lane, laneFactors<kLane>());
    if (count != 0) lane = foldRest(lane, bytes, count);
    return remainderOf(lane);
}

}  // namespace
}  // namespace Qv::detail
