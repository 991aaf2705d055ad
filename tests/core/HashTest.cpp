#include <QvPlatform/core/CRC32.h>
#include <QvPlatform/core/MurmurHash3.h>

#include "core/CRC32Paths.h"
#include "core/MurmurHash3Scrambling.h"
#include "support/RandomBytes.h"

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace {

constexpr std::size_t kLongest = 4096;

std::string randomBytes(std::size_t count) { return support::randomBytes(count, 1); }

// A reference implementation, bit by bit.
std::uint32_t crcByBits(std::uint32_t crc, const std::string& bytes) {
    for (const char byte : bytes) {
        crc ^= static_cast<unsigned char>(byte);
        for (int bit = 0; bit < 8; ++bit) crc = crc >> 1U ^ ((crc & 1U) != 0 ? 0xEDB88320 : 0);
    }
    return crc;
}

TEST(CRC32, isTheOneOfTheStandard) {
    EXPECT_EQ(static_cast<std::uint32_t>(Qv::calculateCRC32("123456789", 9, 0)), 0xCBF43926U);
    EXPECT_EQ(Qv::calculateCRC32(nullptr, 0, 77), 77);
    EXPECT_EQ(Qv::calculateCRC32("abc", -1, -5), -5);
}

TEST(CRC32, isTheSameOnEveryPathForEveryLengthAndAlignment) {
    const std::string bytes = randomBytes(kLongest + 16);
    std::uint32_t expected = 0x12345678;
    for (std::size_t length = 0; length <= kLongest; ++length) {
        for (std::size_t alignment = 0; alignment < 16; alignment += length < 300 ? 1 : 5) {
            std::vector<unsigned char> place(length + alignment + 1);
            std::memcpy(place.data() + alignment, bytes.data(), length);
            const unsigned char* const start = place.data() + alignment;
            for (const auto path : Qv::detail::crcPaths()) {
                if (!path) continue;
                ASSERT_EQ(path(0x12345678, start, length), expected) << length;
            }
        }
        expected = crcByBits(expected, bytes.substr(length, 1));
    }
}

// Long inputs are fetched ahead.
TEST(CRC32, isTheSameOnEveryPathForLongInputs) {
    const std::string bytes = randomBytes(40'000);
    const std::vector<unsigned char> place(bytes.begin(), bytes.end());
    for (const std::size_t length : {8191U, 8192U, 8320U, 8703U, 8704U, 9000U, 39'999U, 40'000U}) {
        const std::uint32_t expected = crcByBits(0x12345678, bytes.substr(0, length));
        for (const auto path : Qv::detail::crcPaths()) {
            if (!path) continue;
            EXPECT_EQ(path(0x12345678, place.data(), length), expected) << length;
        }
    }
}

TEST(CRC32, ofPiecesIsThatOfTheWhole) {
    const std::string bytes = randomBytes(kLongest);
    const int whole = Qv::calculateCRC32(bytes.data(), static_cast<int>(bytes.size()), 0);
    for (std::size_t piece = 1; piece <= bytes.size(); ++piece) {
        int crc = 0;
        for (std::size_t done = 0; done < bytes.size(); done += piece) {
            const std::size_t length = std::min(piece, bytes.size() - done);
            crc = Qv::calculateCRC32(bytes.data() + done, static_cast<int>(length), crc);
        }
        ASSERT_EQ(crc, whole) << piece;
    }
}

// The published self-test: the hash of the hashes of all keys 0, 0 1, 0 1 2..., each with the seed 256 -
// length.
template <std::size_t kBytes>
std::uint32_t verificationOf(void (*hash)(const void*, int, unsigned int, void*)) {
    std::array<unsigned char, 256> key{};
    std::array<unsigned char, kBytes * 256> hashes{};
    for (std::size_t i = 0; i < key.size(); ++i) {
        key[i] = static_cast<unsigned char>(i);
        hash(key.data(), static_cast<int>(i), static_cast<unsigned int>(256 - i), &hashes[i * kBytes]);
    }
    std::array<unsigned char, kBytes> last{};
    hash(hashes.data(), static_cast<int>(hashes.size()), 0, last.data());
    std::uint32_t result = 0;
    std::memcpy(&result, last.data(), sizeof result);
    return result;
}

TEST(MurmurHash3, passesThePublishedSelfTest) {
    EXPECT_EQ(verificationOf<4>(MurmurHash3_x86_32), 0xB0F57EE3U);
    EXPECT_EQ(verificationOf<16>(MurmurHash3_x86_128), 0xB3ECE62AU);
    EXPECT_EQ(verificationOf<16>(MurmurHash3_x64_128), 0x6384BA69U);
}

TEST(MurmurHash3, scramblesTheSameOnEveryPathForEveryLengthAndAlignment) {
    using Words = std::array<std::uint32_t, 4>;
    const std::string bytes = randomBytes(kLongest);
    for (std::size_t count = 1; count <= 70; ++count) {
        for (std::size_t alignment = 0; alignment < 16; ++alignment) {
            std::vector<Words> expected(count);
            std::memcpy(expected.data(), bytes.data(), count * sizeof(Words));
            for (Words& words : expected)
                for (std::size_t i = 0; i < 4; ++i) words[i] = Qv::detail::kScrambles32[i](words[i]);
            std::vector<unsigned char> place(count * sizeof(Words) + alignment);
            std::memcpy(place.data() + alignment, bytes.data(), count * sizeof(Words));
            for (const auto path : Qv::detail::scramblings()) {
                if (!path) continue;
                std::vector<Words> found(count);
                path(place.data() + alignment, count, found.data());
                ASSERT_EQ(found, expected) << count;
            }
        }
    }
}

// Computed step by step as published.
TEST(MurmurHash3, ofAHundredBlocksIsThePublishedOne) {
    const std::string bytes = randomBytes(1600);
    std::array<std::uint32_t, 4> h;
    h.fill(7);
    constexpr std::array<int, 4> kRotations = {19, 17, 15, 13};
    constexpr std::array<std::uint32_t, 4> kAdded = {0x561CCD1B, 0x0BCAA747, 0x96CD1C35, 0x32AC3B17};
    for (std::size_t i = 0; i < bytes.size(); i += 16) {
        for (std::size_t lane = 0; lane < 4; ++lane) {
            std::uint32_t word = 0;
            std::memcpy(&word, &bytes[i + 4 * lane], 4);
            h[lane] = std::rotl(h[lane] ^ Qv::detail::kScrambles32[lane](word), kRotations[lane]);
            h[lane] = (h[lane] + h[(lane + 1) % 4]) * 5 + kAdded[lane];
        }
    }
    for (std::uint32_t& lane : h) lane ^= 1600U;
    const auto addToEachOther = [&h] {
        h[0] += h[1] + h[2] + h[3];
        for (std::size_t i = 1; i < 4; ++i) h[i] += h[0];
    };
    addToEachOther();
    for (std::uint32_t& lane : h) {
        lane = (lane ^ lane >> 16U) * 0x85EBCA6B;
        lane = (lane ^ lane >> 13U) * 0xC2B2AE35;
        lane ^= lane >> 16U;
    }
    addToEachOther();
    std::array<std::uint32_t, 4> found{};
    MurmurHash3_x86_128(bytes.data(), 1600, 7, found.data());
    EXPECT_EQ(found, h);
}

TEST(MurmurHash3, takesAnyAlignmentAndNoBytes) {
    const std::string bytes = randomBytes(kLongest);
    for (const auto hash : {MurmurHash3_x86_32, MurmurHash3_x86_128, MurmurHash3_x64_128}) {
        for (std::size_t length = 0; length <= kLongest; ++length) {
            const std::size_t alignment = length % 16 + 1;
            const std::string shifted = std::string(alignment, 'x') + bytes.substr(0, length);
            std::array<std::uint64_t, 2> expected{};
            std::array<std::uint64_t, 2> found{};
            hash(bytes.data(), static_cast<int>(length), 5, expected.data());
            hash(shifted.data() + alignment, static_cast<int>(length), 5, found.data());
            ASSERT_EQ(found, expected) << length;
        }
        std::array<std::uint64_t, 2> empty{1, 1};
        std::array<std::uint64_t, 2> negative{1, 1};
        hash(nullptr, 0, 9, empty.data());
        hash(nullptr, -7, 9, negative.data());
        EXPECT_EQ(empty, negative);
    }
    std::uint32_t zero = 1;
    MurmurHash3_x86_32(nullptr, 0, 0, &zero);
    EXPECT_EQ(zero, 0U);
}

}  // namespace
