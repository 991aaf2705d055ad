#include <QvPlatform/core/StringConversions.h>

#include "base/Utf.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using base::decodeUtf8;
using base::encodeUtf8;

std::string encoded(const std::u16string& text) { return encodeUtf8<char16_t>(text); }
std::string encoded(const std::u32string& text) { return encodeUtf8<char32_t>(text); }

TEST(Utf, bringsEveryCharacterThroughBothEncodings) {
    std::u32string all;
    for (char32_t c = 0; c <= 0x10FFFF; ++c) {
        if (c < 0xD800 || c > 0xDFFF) all += c;
    }
    const std::string bytes = encoded(all);
    EXPECT_EQ(bytes.size(), 0x80 + 0x780 * 2 + (0x10000 - 0x800 - 0x800) * 3 + std::size_t{0x100000} * 4);
    EXPECT_TRUE(decodeUtf8<char32_t>(bytes) == all);
    const std::u16string units = decodeUtf8<char16_t>(bytes);
    EXPECT_EQ(units.size(), 0x10000 - 0x800 + std::size_t{0x100000} * 2);
    EXPECT_TRUE(encoded(units) == bytes);
}

TEST(Utf, decodesCharactersAndMarksWhatIsNone) {
    const struct {
        std::string bytes;
        std::u16string units;
        std::u32string characters;
    } cases[] = {
        {"", u"", U""},
        {std::string("a\0b", 3), {u'a', 0, u'b'}, {U'a', 0, U'b'}},
        {"\xC3\xA9", u"\u00E9", U"\u00E9"},
        {"\xE5\x90\x8D", u"\u540D", U"\u540D"},
        {"\xF0\x9D\x84\x9E", u"\U0001D11E", U"\U0001D11E"},
        {"\x80z", {0xFFFD, u'z'}, {0xDC80, U'z'}},                      // continuation alone
        {"\xFF\xFE", {0xFFFD, 0xFFFD}, {0xDCFF, 0xDCFE}},               // never valid as a first byte
        {"\xC3", {0xFFFD}, {0xDCC3}},                                   // truncated at the end
        {"\xE5\x90z", {0xFFFD, 0xFFFD, u'z'}, {0xDCE5, 0xDC90, U'z'}},  // truncated before another
        {"\xC3\xC3\xA9", {0xFFFD, 0xE9}, {0xDCC3, 0xE9}},  // the second byte starts a new sequence
        {"\xC0\xAF", {0xFFFD, 0xFFFD}, {0xDCC0, 0xDCAF}},  // longer than needed
        {"\xE0\x9F\xBF", {0xFFFD, 0xFFFD, 0xFFFD}, {0xDCE0, 0xDC9F, 0xDCBF}},  // longer than needed
        {"\xED\xA0\x80", {0xD800}, {0xDCED, 0xDCA0, 0xDC80}},                  // a surrogate
        {"\xED\xB2\x80", {0xDC80}, {0xDCED, 0xDCB2, 0xDC80}},                  // an escape's own value
        {"\xF4\x90\x80\x80",
         {0xFFFD, 0xFFFD, 0xFFFD, 0xFFFD},
         {0xDCF4, 0xDC90, 0xDC80, 0xDC80}},  // too large
    };
    for (const auto& c : cases) {
        EXPECT_TRUE(decodeUtf8<char16_t>(c.bytes) == c.units) << testing::PrintToString(c.bytes);
        EXPECT_TRUE(decodeUtf8<char32_t>(c.bytes) == c.characters) << testing::PrintToString(c.bytes);
    }
}

TEST(Utf, replacesIn32BitsWhatIsNoCharacter) {
    EXPECT_EQ(encoded(std::u32string{0xD800, 0xDC7F, 0xDD00, 0x110000, 0xFFFFFFFF}),
              "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD");
    EXPECT_EQ(encoded(std::u32string{0xDC80, 0xDCFF}), "\x80\xFF");
}

TEST(StringConversions, useTheWideTextOfThePlatform) {
    using namespace QvPlatform::StringConversions;
    const std::string narrow("a\0\xC3\xA9\xF0\x9D\x84\x9E", 8);
    const std::wstring wide(L"a\0\u00E9\U0001D11E", sizeof(wchar_t) == 2 ? 5 : 4);
    EXPECT_TRUE(toWide(narrow) == wide);
    EXPECT_EQ(toNarrow(wide), narrow);
    EXPECT_EQ(toNarrow(toWide("\xED\xA0\x80 lone")), "\xED\xA0\x80 lone");
}

}  // namespace
