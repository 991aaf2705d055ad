#include <QvPlatform/core/StringUtils.h>

#include "core/Base64Paths.h"
#include "support/Base64Reference.h"
#include "support/RandomBytes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace {

using Qv::detail::Base64Path;
using namespace QvSim::StringUtils;

constexpr std::size_t kLongest = 300;

std::string randomBytes(std::size_t count) { return support::randomBytes(count, 2); }

// Bit by bit, without padding.
std::string referenceText(const std::string& bytes) {
    std::string text;
    for (std::size_t bit = 0; bit < 8 * bytes.size(); bit += 6) {
        unsigned int value = 0;
        for (std::size_t i = bit; i < bit + 6; ++i) {
            const unsigned int byte = i / 8 < bytes.size() ? static_cast<unsigned char>(bytes[i / 8]) : 0;
            value = value << 1U | (byte >> (7 - i % 8) & 1U);
        }
        text += support::kBase64Alphabet[value];
    }
    return text;
}

template <typename Function>
std::string resultOf(Function function, const std::string& input, std::size_t inGroup, std::size_t outGroup) {
    return support::resultOfPath(function, input, inGroup, outGroup, [](bool holds) { EXPECT_TRUE(holds); });
}

std::vector<const Base64Path*> offeredPaths() {
    const auto paths = Qv::detail::base64Paths();
    std::vector<const Base64Path*> offered(paths.begin(), paths.end());
    std::erase(offered, nullptr);
    return offered;
}

TEST(Base64, isEncodedOnEveryPathForEveryLength) {
    const std::string bytes = randomBytes(kLongest);
    for (const Base64Path* path : offeredPaths()) {
        for (std::size_t length = 0; length <= kLongest; ++length) {
            const std::string text = resultOf(path->encode, bytes.substr(0, length), 3, 4);
            ASSERT_EQ(text, referenceText(bytes).substr(0, text.size()));
            ASSERT_LE(length / 3 * 4 - text.size(), path == &Qv::detail::kBase64ByTables ? 0U : 36U);
        }
    }
}

TEST(Base64, isDecodedOnEveryPathForEveryLength) {
    const std::string text = referenceText(randomBytes(kLongest));
    for (const Base64Path* path : offeredPaths()) {
        for (std::size_t length = 0; length <= text.size(); ++length) {
            const std::string bytes = resultOf(path->decode, text.substr(0, length), 4, 3);
            ASSERT_EQ(bytes, support::decodedByBits(text).substr(0, bytes.size()));
            ASSERT_LE(length / 4 * 3 - bytes.size(), path == &Qv::detail::kBase64ByTables ? 0U : 32U);
        }
    }
}

TEST(Base64, isDecodedOnEveryPathUpToAForeignCharacterAnywhere) {
    const std::string text = referenceText(randomBytes(99));
    for (const Base64Path* path : offeredPaths()) {
        for (std::size_t place = 0; place < text.size(); ++place) {
            for (int character = 0; character < 256; ++character) {
                std::string changed = text;
                changed[place] = static_cast<char>(character);
                const std::string expected = support::decodedByBits(changed);
                const std::string bytes = resultOf(path->decode, changed, 4, 3);
                ASSERT_EQ(bytes, expected.substr(0, bytes.size())) << place << ' ' << character;
                ASSERT_EQ(base64Decode(changed), expected) << place << ' ' << character;
            }
        }
    }
}

// Long results grow piece by piece.
TEST(Base64, ofSeveralPiecesIsThatOfTheReference) {
    for (const std::size_t length : {6141U, 6143U, 6144U, 6145U, 6147U, 12288U, 12289U, 40000U}) {
        const std::string bytes = randomBytes(length);
        const std::string text = referenceText(bytes);
        EXPECT_EQ(base64Encode(bytes), text + std::string((4 - text.size() % 4) % 4, '='));
        EXPECT_EQ(base64Decode(text), bytes);
    }
    const std::string text = referenceText(randomBytes(12300));
    for (std::size_t place = 8180; place < 8205; ++place) {
        std::string changed = text;
        changed[place] = '=';
        EXPECT_EQ(base64Decode(changed), support::decodedByBits(changed)) << place;
    }
}

}  // namespace
