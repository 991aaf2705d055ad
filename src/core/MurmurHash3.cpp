// MurmurHash3, final version, from its published description: each lane mixes its words of a block and is
// then mixed with the next lane; the bytes after the last block go only through the first step.

#include <QvPlatform/core/MurmurHash3.h>

#include <emmintrin.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <tuple>
#include <type_traits>
#include <utility>

namespace {

static_assert(std::endian::native == std::endian::little, "words are read as they lie in memory");

std::uint32_t finalMix(std::uint32_t h) {
    h ^= h >> 16U;
    h *= 0x85EBCA6B;
    h ^= h >> 13U;
    h *= 0xC2B2AE35;
    return h ^ h >> 16U;
}

std::uint64_t finalMix(std::uint64_t k) {
    k ^= k >> 33U;
    k *= 0xFF51AFD7ED558CCD;
    k ^= k >> 33U;
    k *= 0xC4CEB9FE1A85EC53;
    return k ^ k >> 33U;
}

/// Scrambles one word of a block before it is combined with its lane.
template <typename Word>
struct Scramble {
    Word first;
    int rotation;
    Word second;

    Word operator()(Word word) const { return std::rotl(word * first, rotation) * second; }
};

/// Mixes a lane after its word was added; `neighbour` is the lane to add.
template <typename Word>
struct Step {
    int rotation;
    Word added;
};

/// A variant with several lanes; each one adds the next one.
template <typename Word, std::size_t kLaneCount>
struct Variant {
    std::array<Scramble<Word>, kLaneCount> scrambles;
    std::array<Step<Word>, kLaneCount> steps;

    using State = std::array<Word, kLaneCount>;
    static constexpr auto kLanes = std::make_index_sequence<kLaneCount>();
};

// Scrambles the words in the lower halves of a vector, which belong to the lanes `kLane` and `kLane + 2`,
// using only multiplications: a rotation is a multiplication by a power of two, with both halves of the
// product combined.
template <const auto& kVariant, std::size_t kLane>
std::array<std::uint32_t, 4> scrambledPair(__m128i words) {
    constexpr auto kOne = kVariant.scrambles[kLane];
    constexpr auto kOther = kVariant.scrambles[kLane + 2];
    const auto factors = [](std::uint32_t one, std::uint32_t other) {
        return _mm_set_epi32(0, static_cast<int>(other), 0, static_cast<int>(one));
    };
    words = _mm_mul_epu32(words, factors(kOne.first, kOther.first));
    words = _mm_mul_epu32(words, factors(1U << kOne.rotation, 1U << kOther.rotation));
    words = _mm_or_si128(words, _mm_srli_epi64(words, 32));
    words = _mm_mul_epu32(words, factors(kOne.second, kOther.second));
    std::array<std::uint32_t, 4> pair;
    std::memcpy(pair.data(), &words, sizeof pair);
    return pair;
}

// Four words at a time in vectors, because eight single multiplications would dominate the running time.
template <const auto& kVariant>
std::array<std::uint32_t, 4> scrambledBlock(const std::array<std::uint32_t, 4>& block) {
    __m128i words;
    std::memcpy(&words, block.data(), sizeof words);
    const auto even = scrambledPair<kVariant, 0>(words);
    const auto odd = scrambledPair<kVariant, 1>(_mm_srli_epi64(words, 32));
    return {even[0], odd[0], even[2], odd[2]};
}

template <const auto& kVariant>
std::array<std::uint64_t, 2> scrambledBlock(const std::array<std::uint64_t, 2>& block) {
    return {kVariant.scrambles[0](block[0]), kVariant.scrambles[1](block[1])};
}

// The lanes are expanded instead of looped over, so that they stay in registers and are not vectorized.
template <const auto& kVariant, typename State, std::size_t... kLane>
void takeBlock(State& state, const unsigned char* block, std::index_sequence<kLane...>) {
    State words;
    std::memcpy(words.data(), block, sizeof words);
    words = scrambledBlock<kVariant>(words);
    const auto step = [&](std::size_t lane) {
        const auto mixed = std::rotl(state[lane] ^ words[lane], kVariant.steps[lane].rotation);
        state[lane] = (mixed + state[(lane + 1) % state.size()]) * 5 + kVariant.steps[lane].added;
    };
    (step(kLane), ...);
}

template <const auto& kVariant, typename State>
void takeRest(State& state, const unsigned char* rest, std::size_t count) {
    State words{};
    std::memcpy(words.data(), rest, count);
    for (std::size_t i = 0; i < state.size(); ++i) state[i] ^= kVariant.scrambles[i](words[i]);
}

template <typename Word, typename... Words>
void addToEachOther(Word& first, Words&... others) {
    ((first += others), ...);
    ((others += first), ...);
}

template <typename... Words>
void finish(std::size_t length, Words&... lanes) {
    ((lanes ^= static_cast<std::uint32_t>(length)), ...);
    addToEachOther(lanes...);
    ((lanes = finalMix(lanes)), ...);
    addToEachOther(lanes...);
}

template <const auto& kVariant>
void hash(const void* key, int len, std::uint32_t seed, void* out) {
    const auto length = static_cast<std::size_t>(std::max(len, 0));
    const auto* bytes = static_cast<const unsigned char*>(key);
    typename std::decay_t<decltype(kVariant)>::State state;
    state.fill(seed);
    std::size_t left = length;
    for (; left >= sizeof state; left -= sizeof state, bytes += sizeof state)
        takeBlock<kVariant>(state, bytes, kVariant.kLanes);
    if (left != 0) takeRest<kVariant>(state, bytes, left);
    std::apply([&](auto&... lanes) { finish(length, lanes...); }, state);
    std::memcpy(out, state.data(), sizeof state);
}

constexpr Variant<std::uint32_t, 4> kX86With128Bits{
    {{{0x239B961B, 15, 0xAB0E9789},
      {0xAB0E9789, 16, 0x38B34AE5},
      {0x38B34AE5, 17, 0xA1E38B93},
      {0xA1E38B93, 18, 0x239B961B}}},
    {{{19, 0x561CCD1B}, {17, 0x0BCAA747}, {15, 0x96CD1C35}, {13, 0x32AC3B17}}}};

constexpr Variant<std::uint64_t, 2> kX64With128Bits{
    {{{0x87C37B91114253D5, 31, 0x4CF5AD432745937F}, {0x4CF5AD432745937F, 33, 0x87C37B91114253D5}}},
    {{{27, 0x52DCE729}, {31, 0x38495AB5}}}};

}  // namespace

// A single lane has no neighbour to add.
void MurmurHash3_x86_32(const void* key, int len, unsigned int seed, void* out) {
    constexpr Scramble<std::uint32_t> kScramble{0xCC9E2D51, 15, 0x1B873593};
    const auto length = static_cast<std::size_t>(std::max(len, 0));
    const auto* bytes = static_cast<const unsigned char*>(key);
    std::uint32_t hash = seed;
    std::uint32_t word = 0;
    std::size_t left = length;
    for (; left >= sizeof word; left -= sizeof word, bytes += sizeof word) {
        std::memcpy(&word, bytes, sizeof word);
        hash = std::rotl(hash ^ kScramble(word), 13) * 5 + 0xE6546B64;
    }
    word = 0;
    if (left != 0) std::memcpy(&word, bytes, left);
    hash = finalMix((hash ^ kScramble(word)) ^ static_cast<std::uint32_t>(length));
    std::memcpy(out, &hash, sizeof hash);
}

void MurmurHash3_x86_128(const void* key, int len, unsigned int seed, void* out) {
    hash<kX86With128Bits>(key, len, seed, out);
}

void MurmurHash3_x64_128(const void* key, int len, unsigned int seed, void* out) {
    hash<kX64With128Bits>(key, len, seed, out);
}
