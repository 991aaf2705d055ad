// Each 16-byte lane turns twelve bytes into sixteen characters or back. (W. Mula and D. Lemire, "Faster
// Base64 Encoding and Decoding Using AVX2 Instructions", 2018.)

#include "core/Base64Paths.h"

#include <immintrin.h>

#define QV_BASE64 __attribute__((target("avx2")))

namespace Qv::detail {
namespace {

constexpr std::size_t kText = sizeof(__m256i);
constexpr std::size_t kLaneBytes = 12;

// The same bytes in both lanes.
template <typename... Bytes>
QV_BASE64 inline __m256i inEachLane(Bytes... bytes) {
    return _mm256_broadcastsi128_si256(_mm_setr_epi8(static_cast<char>(bytes)...));
}

QV_BASE64 inline __m128i loadLane(const char* bytes) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes));
}

// The six-bit values of twelve bytes in each lane, one value in each byte.
QV_BASE64 inline __m256i valuesOf(__m256i bytes) {
    const __m256i groups =
        _mm256_shuffle_epi8(bytes, inEachLane(1, 0, 2, 1, 4, 3, 5, 4, 7, 6, 8, 7, 10, 9, 11, 10));
    const __m256i evenBits = _mm256_and_si256(groups, _mm256_set1_epi32(0x0FC0FC00));
    const __m256i oddBits = _mm256_and_si256(groups, _mm256_set1_epi32(0x003F03F0));
    return _mm256_or_si256(_mm256_mulhi_epu16(evenBits, _mm256_set1_epi32(0x04000040)),
                           _mm256_mullo_epi16(oddBits, _mm256_set1_epi32(0x01000010)));
}

// Adds to each value what its range of the alphabet is shifted by.
QV_BASE64 inline __m256i charactersOf(__m256i values) {
    constexpr int kDigits = '0' - 52;
    const __m256i shifts = inEachLane('a' - 26, kDigits, kDigits, kDigits, kDigits, kDigits, kDigits, kDigits,
                                      kDigits, kDigits, kDigits, '+' - 62, '/' - 63, 'A', 0, 0);
    const __m256i isUpper = _mm256_cmpgt_epi8(_mm256_set1_epi8(26), values);
    const __m256i range = _mm256_or_si256(_mm256_subs_epu8(values, _mm256_set1_epi8(51)),
                                          _mm256_and_si256(isUpper, _mm256_set1_epi8(13)));
    return _mm256_add_epi8(values, _mm256_shuffle_epi8(shifts, range));
}

QV_BASE64 std::size_t encode(const char* bytes, std::size_t count, char* text) {
    std::size_t done = 0;
    for (; count - done >= kLaneBytes + sizeof(__m128i); done += 2 * kLaneBytes, text += kText) {
        const __m256i first = _mm256_castsi128_si256(loadLane(bytes + done));
        const __m256i both = _mm256_inserti128_si256(first, loadLane(bytes + done + kLaneBytes), 1);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(text), charactersOf(valuesOf(both)));
    }
    return done;
}

// Whether the upper and the lower half of each character go together in the alphabet: each half has a set of
// bits, and those of foreign characters share one.
QV_BASE64 inline bool areForeign(__m256i text, __m256i upperHalves) {
    const __m256i ofUpper = inEachLane(0x10, 0x10, 0x01, 0x02, 0x04, 0x08, 0x04, 0x08, 0x10, 0x10, 0x10, 0x10,
                                       0x10, 0x10, 0x10, 0x10);
    const __m256i ofLower = inEachLane(0x15, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x13, 0x1A,
                                       0x1B, 0x1B, 0x1B, 0x1A);
    const __m256i lowerHalves = _mm256_and_si256(text, _mm256_set1_epi8(0x0F));
    return _mm256_testz_si256(_mm256_shuffle_epi8(ofUpper, upperHalves),
                              _mm256_shuffle_epi8(ofLower, lowerHalves)) == 0;
}

// Puts the six-bit values together, four to three bytes, at the start of the vector.
QV_BASE64 inline __m256i bytesOf(__m256i values) {
    const __m256i pairs = _mm256_maddubs_epi16(values, _mm256_set1_epi32(0x01400140));
    const __m256i groups = _mm256_madd_epi16(pairs, _mm256_set1_epi32(0x00011000));
    const __m256i lanes =
        _mm256_shuffle_epi8(groups, inEachLane(2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, -1, -1, -1, -1));
    return _mm256_permutevar8x32_epi32(lanes, _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 7, 7));
}

// A step writes 32 bytes, eight more than it decodes, which later characters have to replace.
QV_BASE64 std::size_t decode(const char* text, std::size_t count, char* bytes) {
    constexpr std::size_t kReplaced = 12;
    const __m256i shifts = inEachLane(0, 16, 19, 4, -65, -65, -71, -71, 0, 0, 0, 0, 0, 0, 0, 0);
    std::size_t done = 0;
    for (; count - done >= kText + kReplaced; done += kText, bytes += 2 * kLaneBytes) {
        const __m256i block = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(text + done));
        const __m256i upperHalves = _mm256_and_si256(_mm256_srli_epi32(block, 4), _mm256_set1_epi8(0x0F));
        if (areForeign(block, upperHalves)) break;
        const __m256i isSlash = _mm256_cmpeq_epi8(block, _mm256_set1_epi8('/'));
        const __m256i shift = _mm256_shuffle_epi8(shifts, _mm256_add_epi8(isSlash, upperHalves));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(bytes), bytesOf(_mm256_add_epi8(block, shift)));
    }
    return done;
}

constexpr Base64Path kPath{encode, decode};

}  // namespace

const Base64Path* base64ByAvx2() { return __builtin_cpu_supports("avx2") != 0 ? &kPath : nullptr; }

}  // namespace Qv::detail
