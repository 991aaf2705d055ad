#include <QvPlatform/core/StringUtils.h>

#include "core/Base64Paths.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace {

using Qv::detail::Base64Path;
using namespace QvSim::StringUtils;

constexpr std::string_view kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::size_t kLongest = 300;

std::string randomBytes(std::size_t count) {
    std::mt19937 random(2);
    std::string bytes(count, '\0');
    for (char& byte : bytes) byte = static_cast<char>(random());
    return bytes;
}

// References, bit by bit; neither adds padding.
std::string referenceText(const std::string& bytes) {
    std::string text;
    for (std::size_t bit = 0; bit < 8 * bytes.size(); bit += 6) {
        unsigned int value = 0;
        for (std::size_t i = bit; i < bit + 6; ++i) {
            const unsigned int byte = i / 8 < bytes.size() ? static_cast<unsigned char>(bytes[i / 8]) : 0;
            value = value << 1U | (byte >> (7 - i % 8) & 1U);
        }
        text += kAlphabet[value];
    }
    return text;
}

std::string referenceBytes(const std::string& text) {
    std::string bytes;
    unsigned int pending = 0;
    unsigned int count = 0;
    for (const char c : text) {
        const auto value = kAlphabet.find(c);
        if (value == std::string_view::npos) break;
        for (unsigned int bit = 6; bit-- != 0;) {
            pending = (pending << 1U | (static_cast<unsigned int>(value) >> bit & 1U)) & 0xFFU;
            if (++count % 8 == 0) bytes += static_cast<char>(pending);
        }
    }
    return bytes;
}

// Gives a path memory of exactly the size of input and output, and returns what it made.
template <typename Function>
std::string resultOf(Function function, const std::string& input, std::size_t inGroup, std::size_t outGroup) {
    const std::vector<char> in(input.begin(), input.end());
    std::vector<char> out(input.size() / inGroup * outGroup);
    const std::size_t taken = function(in.data(), in.size(), out.data());
    EXPECT_EQ(taken % inGroup, 0U);
    EXPECT_LE(taken, in.size());
    return {out.data(), taken / inGroup * outGroup};
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
            ASSERT_EQ(bytes, referenceBytes(text).substr(0, bytes.size()));
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
                const std::string expected = referenceBytes(changed);
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
        EXPECT_EQ(base64Decode(changed), referenceBytes(changed)) << place;
    }
}

}  // namespace
