// MurmurHash3, final version, from its published description: each lane mixes its words of a block and is
// then mixed with the next lane; the bytes after the last block go only through the first step.
//
// The published step ends with "* 5 + constant". Processors need up to three cycles for both at once, in a
// chain of which every step waits for the one before. Here a fifth of the constant is added before the
// multiplication, where the chain does not have to wait for it.

#include <QvPlatform/core/MurmurHash3.h>

#include "core/MurmurHash3Scrambling.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <tuple>
#include <type_traits>

namespace {

using Qv::detail::Scramble;

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

/// Mixes a lane after its word was added; the next lane is added, and the first one to the last.
template <typename Word>
struct Step {
    int rotation;
    Word added;

    // The inverse of 5, of which Word has the lower half if it is narrower.
    constexpr Word fifth() const { return added * static_cast<Word>(0xCCCCCCCCCCCCCCCD); }
};

// A function, because in one expression the compiler would multiply a constant summand by itself.
template <typename Word>
Word fiveTimes(Word sum) {
    return sum * 5;
}

/// A variant with several lanes.
template <typename Word, std::size_t kLaneCount>
struct Variant {
    std::array<Scramble<Word>, kLaneCount> scrambles;
    std::array<Step<Word>, kLaneCount> steps;

    using State = std::array<Word, kLaneCount>;
};

/// The lanes between two blocks.
template <const auto& kVariant>
class Chain {
public:
    using State = typename std::decay_t<decltype(kVariant)>::State;
    static constexpr std::size_t kLast = std::tuple_size_v<State> - 1;

    explicit Chain(std::uint32_t seed) {
        lanes_.fill(seed);
        for (std::size_t i = 0; i < kLast; ++i) summands_[i] = lanes_[i + 1] + kVariant.steps[i].fifth();
    }

    // The lanes are expanded instead of looped over, so that they stay in registers and are not vectorized.
    void take(const State& words) { take(words, std::make_index_sequence<kLast + 1>()); }
    void takeScrambling(const State& words) { takeScrambling(words, std::make_index_sequence<kLast + 1>()); }

    State lanes() const { return lanes_; }

private:
    template <std::size_t... kLane>
    void take(const State& words, std::index_sequence<kLane...>) {
        (takeWord<kLane>(words[kLane]), ...);
    }

    template <std::size_t... kLane>
    void takeScrambling(const State& words, std::index_sequence<kLane...>) {
        (takeWord<kLane>(kVariant.scrambles[kLane](words[kLane])), ...);
    }

    template <std::size_t kLane, typename Word>
    void takeWord(Word word) {
        const Word mixed = std::rotl(lanes_[kLane] ^ word, kVariant.steps[kLane].rotation);
        if constexpr (kLane == kLast)
            lanes_[kLane] = fiveTimes(mixed + lanes_[0] + kVariant.steps[kLane].fifth());
        else
            lanes_[kLane] = fiveTimes(mixed + summands_[kLane]);
        if constexpr (kLane != 0) summands_[kLane - 1] = lanes_[kLane] + kVariant.steps[kLane - 1].fifth();
    }

    State lanes_;
    // What each lane but the last one adds.
    State summands_{};
};

constexpr Variant<std::uint32_t, 4> kX86With128Bits{
    Qv::detail::kScrambles32, {{{19, 0x561CCD1B}, {17, 0x0BCAA747}, {15, 0x96CD1C35}, {13, 0x32AC3B17}}}};

constexpr Variant<std::uint64_t, 2> kX64With128Bits{
    {{{0x87C37B91114253D5, 31, 0x4CF5AD432745937F}, {0x4CF5AD432745937F, 33, 0x87C37B91114253D5}}},
    {{{27, 0x52DCE729}, {31, 0x38495AB5}}}};

template <const auto& kVariant>
void takeBlocks(Chain<kVariant>& chain, const unsigned char* blocks, std::size_t count) {
    typename Chain<kVariant>::State words;
    for (; count != 0; --count, blocks += sizeof words) {
        std::memcpy(words.data(), blocks, sizeof words);
        chain.takeScrambling(words);
    }
}

// Scrambles many blocks at a time, because eight single multiplications a block would dominate the running
// time.
void takeManyBlocks(Chain<kX86With128Bits>& chain, const unsigned char* blocks, std::size_t count) {
    constexpr std::size_t kMost = 64;
    alignas(64) std::array<std::array<std::uint32_t, 4>, kMost> words;  // no store crosses a cache line
    const Qv::detail::Scrambling scramble = Qv::detail::fastestScrambling();
    while (count != 0) {
        const std::size_t batch = std::min(count, kMost);
        scramble(blocks, batch, words.data());
        for (std::size_t i = 0; i < batch; ++i) chain.take(words[i]);
        blocks += batch * sizeof words[0];
        count -= batch;
    }
}

void takeBlocks(Chain<kX86With128Bits>& chain, const unsigned char* blocks, std::size_t count) {
    constexpr std::size_t kFew = 8;
    if (count <= kFew)
        takeBlocks<kX86With128Bits>(chain, blocks, count);
    else
        takeManyBlocks(chain, blocks, count);
}

template <const auto& kVariant, typename State>
State withRest(State lanes, const unsigned char* rest, std::size_t count) {
    State words{};
    std::memcpy(words.data(), rest, count);
    for (std::size_t i = 0; i < lanes.size(); ++i) lanes[i] ^= kVariant.scrambles[i](words[i]);
    return lanes;
}

template <typename Word, typename... Words>
void addToEachOther(Word& first, Words&... others) {
    ((first += others), ...);
    ((others += first), ...);
}

// Stores lane by lane: one wide store would have to wait until the lanes have gone through memory.
template <typename... Words>
void finish(void* out, std::size_t length, Words... lanes) {
    ((lanes ^= static_cast<std::uint32_t>(length)), ...);
    addToEachOther(lanes...);
    ((lanes = finalMix(lanes)), ...);
    addToEachOther(lanes...);
    auto* next = static_cast<unsigned char*>(out);
    ((std::memcpy(next, &lanes, sizeof lanes), next += sizeof lanes), ...);
}

template <const auto& kVariant>
void hash(const void* key, int len, std::uint32_t seed, void* out) {
    const auto length = static_cast<std::size_t>(std::max(len, 0));
    const auto* bytes = static_cast<const unsigned char*>(key);
    Chain<kVariant> chain(seed);
    constexpr std::size_t kBlock = sizeof chain.lanes();
    takeBlocks(chain, bytes, length / kBlock);
    const std::size_t left = length % kBlock;
    auto lanes = chain.lanes();
    if (left != 0) lanes = withRest<kVariant>(lanes, bytes + (length - left), left);
    std::apply([&](auto... words) { finish(out, length, words...); }, lanes);
}

}  // namespace

// A single lane has no neighbour to add, so that nothing is gained by adding the constant before.
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
