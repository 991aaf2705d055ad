#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

namespace Qv::detail {

/// Scrambles one word of a block before it is combined with its lane.
template <typename Word>
struct Scramble {
    Word first;
    int rotation;
    Word second;

    Word operator()(Word word) const { return std::rotl(word * first, rotation) * second; }
};

/// One for each lane of the variant with four lanes of 32 bits.
inline constexpr std::array<Scramble<std::uint32_t>, 4> kScrambles32{{{0x239B961B, 15, 0xAB0E9789},
                                                                      {0xAB0E9789, 16, 0x38B34AE5},
                                                                      {0x38B34AE5, 17, 0xA1E38B93},
                                                                      {0xA1E38B93, 18, 0x239B961B}}};

/// The implementations that apply `kScrambles32` to the words of `count` blocks of sixteen bytes, which may
/// lie at any alignment. All give the same result.
using Scrambling = void (*)(const unsigned char* blocks, std::size_t count,
                            std::array<std::uint32_t, 4>* words);

/// Multiplies with the vectors that every processor of this architecture has.
void scrambleBySse2(const unsigned char* blocks, std::size_t count, std::array<std::uint32_t, 4>* words);

/// Null if the processor or the operating system does not support it.
Scrambling scramblingByAvx2();

/// All implementations, the fastest first; the last one is never null.
inline std::array<Scrambling, 2> scramblings() { return {scramblingByAvx2(), scrambleBySse2}; }

inline Scrambling fastestScrambling() {
    const auto all = scramblings();
    return all[0] ? all[0] : all[1];
}

}  // namespace Qv::detail
