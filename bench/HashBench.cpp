// Checksums compared with those of other libraries; hashes compared with the bare chain of steps, each of
// which needs the one before, and with a hash of another kind, for orientation. The chain's target
// ratios are those of the published implementation.

#include <QvPlatform/core/CRC32.h>
#include <QvPlatform/core/MurmurHash3.h>

#include "BenchSupport.h"

#include <immintrin.h>
#include <isa-l/crc.h>
#include <libdeflate.h>
#include <xxhash.h>
#include <zlib.h>

#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <random>
#include <string>

namespace {

constexpr std::size_t kKibibyte = 1024;

const auto* bytesOf(const std::string& text) { return reinterpret_cast<const unsigned char*>(text.data()); }

std::string randomBytes(std::size_t count) {
    std::mt19937 random(4);
    std::string bytes(count, '\0');
    for (char& byte : bytes) byte = static_cast<char>(random());
    return bytes;
}

// It leaves the upper halves of the vector registers in use, which slows down whatever runs after it.
[[gnu::target("avx")]] std::size_t crcByIsal(const std::string& text) {
    const std::size_t crc = crc32_gzip_refl(0, bytesOf(text), text.size());
    _mm256_zeroupper();
    return crc;
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
    bench::compareReaders(state, "CRC-32, by bytes", calls, randomBytes(size), size, ours,
                          {{"libdeflate", 1.05, byLibdeflate}, {"zlib", 1, byZlib}, {"ISA-L", 0, crcByIsal}});
}
BENCHMARK(benchCrc)->Arg(64)->Arg(kKibibyte)->Arg(64 * kKibibyte)->Arg(16384 * kKibibyte)->Iterations(60);

template <void (*kHash)(const void*, int, unsigned int, void*)>
std::size_t hashOf(const std::string& text) {
    std::array<std::size_t, 2> result{};
    kHash(text.data(), static_cast<int>(text.size()), 1, result.data());
    benchmark::DoNotOptimize(result);
    return result[0] | 1U;
}

// Takes the text's blocks one after the other; `step` changes the lanes by the words of one.
template <typename Lanes, typename Step>
std::size_t runChain(const std::string& text, Step step) {
    Lanes lanes{};
    Lanes words;
    for (std::size_t i = 0; i + sizeof words <= text.size(); i += sizeof words) {
        std::memcpy(&words, &text[i], sizeof words);
        step(lanes, words);
    }
    benchmark::DoNotOptimize(lanes);
    return 0;
}

std::size_t chainOf32(const std::string& text) {
    using Lanes = std::array<std::uint32_t, 1>;
    return runChain<Lanes>(
        text, [](Lanes& h, const Lanes& k) { h[0] = std::rotl(h[0] ^ k[0], 13) * 5 + 0xE6546B64; });
}

std::size_t chainOf4Times32(const std::string& text) {
    using Lanes = std::array<std::uint32_t, 4>;
    return runChain<Lanes>(text, [](Lanes& h, const Lanes& k) {
        h[0] = (std::rotl(h[0] ^ k[0], 19) + h[1]) * 5 + 0x561CCD1B;
        h[1] = (std::rotl(h[1] ^ k[1], 17) + h[2]) * 5 + 0x0BCAA747;
        h[2] = (std::rotl(h[2] ^ k[2], 15) + h[3]) * 5 + 0x96CD1C35;
        h[3] = (std::rotl(h[3] ^ k[3], 13) + h[0]) * 5 + 0x32AC3B17;
    });
}

std::size_t chainOf2Times64(const std::string& text) {
    using Lanes = std::array<std::uint64_t, 2>;
    return runChain<Lanes>(text, [](Lanes& h, const Lanes& k) {
        h[0] = (std::rotl(h[0] ^ k[0], 27) + h[1]) * 5 + 0x52DCE729;
        h[1] = (std::rotl(h[1] ^ k[1], 31) + h[0]) * 5 + 0x38495AB5;
    });
}

template <XXH64_hash_t (*kHash)(const void*, std::size_t)>
std::size_t xxHashOf(const std::string& text) {
    benchmark::DoNotOptimize(kHash(text.data(), text.size()));
    return 0;
}

void benchMurmur(benchmark::State& state, const char* name, bench::Reader ours, bench::Reader chain,
                 double referenceRatio) {
    const std::string bytes = randomBytes(64 * kKibibyte);
    bench::compareReaders(
        state, name, 10, bytes, bytes.size(), ours,
        {{"chain of steps", referenceRatio, chain}, {"xxHash (XXH3, 64)", 0, xxHashOf<XXH3_64bits>}});
}
BENCHMARK_CAPTURE(benchMurmur, 32, "MurmurHash3_x86_32, by bytes", hashOf<MurmurHash3_x86_32>, chainOf32,
                  1.23)
    ->Iterations(200);
BENCHMARK_CAPTURE(benchMurmur, 128, "MurmurHash3_x86_128, by bytes", hashOf<MurmurHash3_x86_128>,
                  chainOf4Times32, 1.63)
    ->Iterations(200);
BENCHMARK_CAPTURE(benchMurmur, 64, "MurmurHash3_x64_128, by bytes", hashOf<MurmurHash3_x64_128>,
                  chainOf2Times64, 1.21)
    ->Iterations(200);

}  // namespace
