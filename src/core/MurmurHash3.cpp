// MurmurHash3, final version, by its published description: each lane takes its words of a block, mixes them
// and is mixed with its neighbour; the bytes after the last block go through the lanes' first step only.

#include <QvPlatform/core/MurmurHash3.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace {

static_assert(std::endian::native == std::endian::little, "words are read as they lie in memory");

template <typename Word>
constexpr Word rotated(Word x, int bits) {
    return std::rotl(x, bits);
}

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

/// What happens to one word of a block before it meets its lane.
template <typename Word>
struct Scramble {
    Word first;
    int rotation;
    Word second;

    Word operator()(Word word) const { return rotated(word * first, rotation) * second; }
};

/// What happens to a lane after it took its word; `neighbour` is the lane that is added.
template <typename Word>
struct Step {
    int rotation;
    Word added;
};

/// A variant with several lanes, each of which adds the next one.
template <typename Word, std::size_t kLanes>
struct Variant {
    std::array<Scramble<Word>, kLanes> scrambles;
    std::array<Step<Word>, kLanes> steps;
    static constexpr std::size_t kBlock = kLanes * sizeof(Word);
    using State = std::array<Word, kLanes>;

    void takeBlock(State& state, const unsigned char* block) const {
        State words;
        std::memcpy(words.data(), block, kBlock);
        for (std::size_t i = 0; i < kLanes; ++i) words[i] = scrambles[i](words[i]);
        for (std::size_t i = 0; i < kLanes; ++i) {
            const Word mixed = rotated(state[i] ^ words[i], steps[i].rotation) + state[(i + 1) % kLanes];
            state[i] = mixed * 5 + steps[i].added;
        }
    }

    void takeRest(State& state, const unsigned char* rest, std::size_t count) const {
        State words{};
        std::memcpy(words.data(), rest, count);
        for (std::size_t i = 0; i < kLanes; ++i) state[i] ^= scrambles[i](words[i]);
    }

    static void addToEachOther(State& state) {
        for (std::size_t i = 1; i < kLanes; ++i) state[0] += state[i];
        for (std::size_t i = 1; i < kLanes; ++i) state[i] += state[0];
    }

    void hash(const void* key, int len, std::uint32_t seed, void* out) const {
        const auto length = static_cast<std::size_t>(std::max(len, 0));
        const auto* bytes = static_cast<const unsigned char*>(key);
        State state;
        state.fill(seed);
        std::size_t left = length;
        for (; left >= kBlock; left -= kBlock, bytes += kBlock) takeBlock(state, bytes);
        if (left != 0) takeRest(state, bytes, left);
        for (Word& lane : state) lane ^= static_cast<Word>(length);
        addToEachOther(state);
        for (Word& lane : state) lane = finalMix(lane);
        addToEachOther(state);
        std::memcpy(out, state.data(), sizeof state);
    }
};

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

// One lane, which has no neighbour to add.
void MurmurHash3_x86_32(const void* key, int len, unsigned int seed, void* out) {
    constexpr Scramble<std::uint32_t> kScramble{0xCC9E2D51, 15, 0x1B873593};
    const auto length = static_cast<std::size_t>(std::max(len, 0));
    const auto* bytes = static_cast<const unsigned char*>(key);
    std::uint32_t hash = seed;
    std::uint32_t word = 0;
    std::size_t left = length;
    for (; left >= sizeof word; left -= sizeof word, bytes += sizeof word) {
        std::memcpy(&word, bytes, sizeof word);
        hash = rotated(hash ^ kScramble(word), 13) * 5 + 0xE6546B64;
    }
    word = 0;
    if (left != 0) std::memcpy(&word, bytes, left);
    hash = finalMix((hash ^ kScramble(word)) ^ static_cast<std::uint32_t>(length));
    std::memcpy(out, &hash, sizeof hash);
}

void MurmurHash3_x86_128(const void* key, int len, unsigned int seed, void* out) {
    kX86With128Bits.hash(key, len, seed, out);
}

void MurmurHash3_x64_128(const void* key, int len, unsigned int seed, void* out) {
    kX64With128Bits.hash(key, len, seed, out);
}
