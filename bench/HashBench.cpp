// Checksums compared with those of other libraries; hashes compared with the bare chain of steps, each of
// which needs the one before, with the final mix, and with a hash of another kind, for orientation.

#include <QvPlatform/core/CRC32.h>
#include <QvPlatform/core/MurmurHash3.h>

#include "BenchSupport.h"

#include <immintrin.h>
#include <isa-l/crc.h>
#include <libdeflate.h>
#include <xxhash.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace {

constexpr std::size_t kKibibyte = 1024;

const auto* bytesOf(const std::string& text) { return reinterpret_cast<const unsigned char*>(text.data()); }

// It leaves the upper halves of the vector registers in use, which slows down whatever runs after it.
[[gnu::target("avx")]] std::size_t crcByIsal(const std::string& text) {
    const std::size_t crc = crc32_gzip_refl(0, bytesOf(text), text.size());
    _mm256_zeroupper();
    return crc;
}

// The fastest way to read a long text: cache lines are asked for across the ends of pages.
std::size_t onlyRead(const std::string& text) {
    constexpr std::size_t kAhead = 8192;
    constexpr std::size_t kLine = 64;
    __m128i sum = _mm_setzero_si128();
    for (std::size_t i = 0; i + kAhead + kLine <= text.size(); i += kLine) {
        const auto* line = reinterpret_cast<const __m128i*>(&text[i]);
        _mm_prefetch(&text[i + kAhead], _MM_HINT_T0);
        const __m128i first = _mm_xor_si128(_mm_loadu_si128(line), _mm_loadu_si128(line + 1));
        const __m128i second = _mm_xor_si128(_mm_loadu_si128(line + 2), _mm_loadu_si128(line + 3));
        sum = _mm_xor_si128(sum, _mm_xor_si128(first, second));
    }
    benchmark::DoNotOptimize(_mm_cvtsi128_si32(sum));
    return 0;
}

void benchCrc(benchmark::State& state) {
    const auto size = static_cast<std::size_t>(state.range(0));
    const auto ours = [](const std::string& text) -> std::size_t {
        return static_cast<std::uint32_t>(Qv::calculateCRC32(text.data(), static_cast<int>(text.size()), 0));
    };
    const auto byZlib = [](const std::string& text) -> std::size_t {
        return crc32_z(0, bytesOf(text), text.size());
    };
    const auto byLibdeflate = [](const std::string& text) -> std::size_t {
        return libdeflate_crc32(0, text.data(), text.size());
    };
    const std::size_t calls = std::max<std::size_t>(1, 1024 * kKibibyte / size / 16);
    const bool isLong = size > kKibibyte * kKibibyte;
    const double ratio = isLong ? 1 : 1.05;
    std::vector<bench::Peer> peers = {
        {"libdeflate", ratio, byLibdeflate}, {"zlib", 1, byZlib}, {"ISA-L", ratio, crcByIsal}};
    if (isLong) peers.push_back({"limit, reading", 1.3, onlyRead});
    bench::compareReaders(state, "CRC-32, by bytes", calls, bench::randomBytes(size), size, ours, peers);
}
BENCHMARK(benchCrc)->Arg(64)->Arg(kKibibyte)->Arg(64 * kKibibyte)->Arg(16384 * kKibibyte)->Iterations(60);

template <void (*kHash)(const void*, int, unsigned int, void*)>
std::size_t hashOf(const std::string& text) {
    std::array<std::uint32_t, 4> result{};
    kHash(text.data(), static_cast<int>(text.size()), 1, result.data());
    benchmark::DoNotOptimize(result);
    return result[0] | 1U;
}

// The chains of several lanes have a fifth of the published constant, which is added before the
// multiplication by 5; an addition after it would become a part of the same instruction, slow on some
// processors. A function, because in one expression the compiler would do so nevertheless.
template <typename Word>
Word fiveTimes(Word sum) {
    return sum * 5;
}

template <typename Word>
constexpr Word kFifth = static_cast<Word>(0xCCCCCCCCCCCCCCCD);

template <typename Word>
Word wordAt(const char* block, std::size_t index) {
    Word word;
    std::memcpy(&word, block + index * sizeof word, sizeof word);
    return word;
}

std::uint32_t finalMix(std::uint32_t h) {
    h = (h ^ h >> 16U) * 0x85EBCA6B;
    h = (h ^ h >> 13U) * 0xC2B2AE35;
    return h ^ h >> 16U;
}

std::uint64_t finalMix(std::uint64_t h) {
    h = (h ^ h >> 33U) * 0xFF51AFD7ED558CCD;
    h = (h ^ h >> 33U) * 0xC4CEB9FE1A85EC53;
    return h ^ h >> 33U;
}

template <typename... Words>
std::size_t finish(Words... lanes) {
    const auto first = (lanes + ...);
    const auto result = (finalMix(first + lanes) + ...);
    benchmark::DoNotOptimize(result);
    return 0;
}

std::size_t chainOf32(const std::string& text) {
    using Word = std::uint32_t;
    Word h = 0;
    for (std::size_t i = 0; i != text.size(); i += 4)
        h = std::rotl(h ^ wordAt<Word>(&text[i], 0), 13) * 5 + 0xE6546B64;
    benchmark::DoNotOptimize(h = finalMix(h));
    return 0;
}

std::size_t chainOf4Times32(const std::string& text) {
    using Word = std::uint32_t;
    Word a = 0, b = 0, c = 0, d = 0, nextB = 0, nextC = 0, nextD = 0;
    for (std::size_t i = 0; i != text.size(); i += 16) {
        a = fiveTimes(std::rotl(a ^ wordAt<Word>(&text[i], 0), 19) + nextB);
        b = fiveTimes(std::rotl(b ^ wordAt<Word>(&text[i], 1), 17) + nextC);
        nextB = b + kFifth<Word> * 0x561CCD1B;
        c = fiveTimes(std::rotl(c ^ wordAt<Word>(&text[i], 2), 15) + nextD);
        nextC = c + kFifth<Word> * 0x0BCAA747;
        d = fiveTimes(std::rotl(d ^ wordAt<Word>(&text[i], 3), 13) + a + kFifth<Word> * 0x32AC3B17);
        nextD = d + kFifth<Word> * 0x96CD1C35;
    }
    return finish(a, b, c, d);
}

std::size_t chainOf2Times64(const std::string& text) {
    using Word = std::uint64_t;
    Word a = 0, b = 0, nextB = 0;
    for (std::size_t i = 0; i != text.size(); i += 16) {
        a = fiveTimes(std::rotl(a ^ wordAt<Word>(&text[i], 0), 27) + nextB);
        b = fiveTimes(std::rotl(b ^ wordAt<Word>(&text[i], 1), 31) + a + kFifth<Word> * 0x38495AB5);
        nextB = b + kFifth<Word> * 0x52DCE729;
    }
    return finish(a, b);
}

template <XXH64_hash_t (*kHash)(const void*, std::size_t)>
std::size_t xxHashOf(const std::string& text) {
    benchmark::DoNotOptimize(kHash(text.data(), text.size()));
    return 0;
}

void benchMurmur(benchmark::State& state, const char* name, bench::Reader ours, bench::Reader chain,
                 double longRatio, double shortRatio) {
    const auto size = static_cast<std::size_t>(state.range(0));
    const std::size_t calls = std::max<std::size_t>(1, 128 * kKibibyte / size);
    const double ratio = size >= 64 * kKibibyte ? longRatio : size <= 64 ? shortRatio : 0;
    bench::compareReaders(
        state, name, calls, bench::randomBytes(size), size, ours,
        {{"limit, chain of steps", ratio, chain}, {"xxHash (XXH3, 64)", 0, xxHashOf<XXH3_64bits>}});
}

void eachSize(benchmark::internal::Benchmark* row) {
    for (const int size : {64, 1024, 64 * 1024, 16 * 1024 * 1024}) row->Arg(size);
    row->Iterations(60);
}

BENCHMARK_CAPTURE(benchMurmur, 32, "MurmurHash3_x86_32, by bytes", hashOf<MurmurHash3_x86_32>, chainOf32, 1.1,
                  1.6)
    ->Apply(eachSize);
BENCHMARK_CAPTURE(benchMurmur, 128, "MurmurHash3_x86_128, by bytes", hashOf<MurmurHash3_x86_128>,
                  chainOf4Times32, 1.3, 1.8)
    ->Apply(eachSize);
BENCHMARK_CAPTURE(benchMurmur, 64, "MurmurHash3_x64_128, by bytes", hashOf<MurmurHash3_x64_128>,
                  chainOf2Times64, 1.1, 1.6)
    ->Apply(eachSize);

}  // namespace
