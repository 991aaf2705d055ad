#include <QvPlatform/core/StringUtils.h>

#include <gtest/gtest.h>

#include <string>

namespace {

using namespace QvSim::StringUtils;
using Texts = Qv::QvArray<std::string>;

TEST(StringUtils, formatCutsAtTwoHundredAndFiftyFiveBytes) {
    const std::string longText(300, 'x');
    EXPECT_EQ(format(nullptr), "");
    EXPECT_EQ(format("%d bodies, %s", 3, "asleep"), "3 bodies, asleep");
    EXPECT_EQ(format("%s", longText.substr(0, 255).c_str()), longText.substr(0, 255));
    EXPECT_EQ(format("%s!", longText.c_str()), longText.substr(0, 255));
    EXPECT_EQ(format("a%cb", '\0'), "a");
    EXPECT_EQ(format("%ls", L"\u540D"), "") << "the \"C\" locale cannot encode it";
}

TEST(StringUtils, splitAppendsWhatIsBetweenDelimiters) {
    const struct {
        std::string input;
        std::string delimiters;
        bool alsoBlank;
        Texts tokens;
    } cases[] = {
        {"", ",", false, {}},
        {",,", ",", false, {}},
        {"a,,b,", ",", false, {"a", "b"}},
        {"x y\r\nz", "", false, {"x y", "z"}},
        {"x y\r\nz", "", true, {"x", "y", "z"}},
        {"a b;c", ";", true, {"a", "b", "c"}},
        {std::string("a\0b", 3), std::string("\0", 1), false, {"a", "b"}},
        {std::string("a\0b", 3), "x", false, {std::string("a\0b", 3)}},
        {"\xE5\x90\x8D", "\x90", false, {"\xE5", "\x8D"}},
    };
    for (const auto& c : cases) {
        for (const bool ignored : {false, true}) {
            Texts out{"1", "2", "3"};
            EXPECT_EQ(split(out, c.input, c.delimiters, ignored, c.alsoBlank), 3 + c.tokens.size());
            out.erase(out.begin(), out.begin() + 3);
            EXPECT_EQ(out, c.tokens) << c.input;
        }
    }
}

// Pieces that end at every byte of a block of vectors and past it.
TEST(StringUtils, splitsAndReplacesTextsOfEveryLength) {
    const std::string few = ";";
    const std::string many = ";,:|!";  // more than are compared one by one
    for (std::size_t length = 0; length < 200; ++length) {
        const std::string piece(length, 'x');
        const std::string text = piece + ";y" + piece + ";;" + piece;
        Texts expected{piece, "y" + piece, piece};
        if (length == 0) expected = {"y"};
        for (const std::string& delimiters : {few, many}) {
            Texts out;
            split(out, text, delimiters, false, false);
            EXPECT_EQ(out, expected) << length;
        }
        EXPECT_EQ(replace(text, ";y", "--->"), piece + "--->" + piece + ";;" + piece);
        EXPECT_EQ(replace(piece + "ab", "ab", ""), piece);
        EXPECT_EQ(replace(piece, "xx", "y"), std::string(length / 2, 'y') + std::string(length % 2, 'x'));
        EXPECT_EQ(replace(piece, "x", "yyy"), std::string(3 * length, 'y'));
        EXPECT_EQ(replace(piece, piece + "x", "y"), piece);
        EXPECT_EQ(replace(text + "z", text, "y"), "yz");
    }
}

TEST(StringUtils, splitsAnElementOfItsResult) {
    const std::string longText(100, 'x');
    Texts out{longText + "," + longText};
    out.shrink_to_fit();
    split(out, out[0], ",", false, false);
    EXPECT_EQ(out, (Texts{longText + "," + longText, longText, longText}));
}

TEST(StringUtils, matchesWildcards) {
    const struct {
        const char* pattern;
        const char* text;
        bool exact;
        bool folded;
    } cases[] = {
        {"a*c", "abbc", true, true},
        {"a?c", "ac", false, false},
        {"ABC", "abc", false, true},
        {"", "", true, true},
        {"", "a", false, false},
        {"*", "", true, true},
        {"?", "", false, false},
        {"**a*", "bab", true, true},
        {"*ab", "aab", true, true},
        {"*.qvp", "A.QVP", false, true},
        {"a*b*c", "aXbX", false, false},
        {"[a]", "[A]", false, true},
        {"\xC3\x84", "\xC3\xA4", false, false},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(match(c.pattern, c.text, true), c.exact) << c.pattern << " on " << c.text;
        EXPECT_EQ(match(c.pattern, c.text, false), c.folded) << c.pattern << " on " << c.text;
    }
    EXPECT_TRUE(match(nullptr, nullptr, true));
    EXPECT_FALSE(match("*a*a*a*a*a*a*a*a*b", std::string(20000, 'a').c_str(), true)) << "and comes back";
}

TEST(StringUtils, comparesEndsAndFoldsAsciiOnly) {
    EXPECT_EQ(toLowerCase("AZ\xC4[`@z"), "az\xC4[`@z");
    EXPECT_TRUE(startsWith("Solver.qvp", "sOLVER", false));
    EXPECT_FALSE(startsWith("Solver.qvp", "sOLVER", true));
    EXPECT_TRUE(endsWith("Solver.QVP", ".qvp", false));
    EXPECT_FALSE(endsWith("Solver.QVP", ".qvp", true));
    EXPECT_FALSE(endsWith("qvp", ".qvp", false));
    for (const bool caseSensitive : {false, true}) {
        EXPECT_TRUE(startsWith("", "", caseSensitive));
        EXPECT_TRUE(endsWith("a", "", caseSensitive));
        EXPECT_FALSE(startsWith("\xC3\xA4", "\xC3\x84", caseSensitive));
    }
}

TEST(StringUtils, trimsAndEscapesAndReplaces) {
    EXPECT_EQ(trim(" \tab \r\n"), "ab \r\n");
    EXPECT_EQ(trim("\t a b\t "), "a b");
    EXPECT_EQ(trim(" \t "), "");

    EXPECT_EQ(tryFormatToXMLString("a  b"), "a&nbsp;b");
    EXPECT_EQ(tryFormatToXMLString("<b>"), "b");
    EXPECT_EQ(tryFormatToXMLString("x<y"), "x&lt;y");
    EXPECT_EQ(tryFormatToXMLString("a & b"), "a&nbsp;&&nbsp;b");
    EXPECT_EQ(tryFormatToXMLString("p=\"1\" >> q"), "p=&quot;1&quot;&nbsp;&gt;&nbsp;q");
    EXPECT_EQ(tryFormatToXMLString("< \">"), "&nbsp;");

    EXPECT_EQ(replace("aaa", "a", "aa"), "aaaaaa");
    EXPECT_EQ(replace("aaaaa", "aa", "b"), "bba");
    EXPECT_EQ(replace("abc", "", "x"), "abc");
    EXPECT_EQ(replace("abc", "d", "x"), "abc");
    EXPECT_EQ(replace("abcabc", "abc", ""), "");
}

TEST(StringUtils, encodesAndDecodesBase64) {
    const struct {
        std::string bytes;
        const char* text;
    } cases[] = {{"", ""},
                 {"f", "Zg=="},
                 {"fo", "Zm8="},
                 {"foo", "Zm9v"},
                 {"foob", "Zm9vYg=="},
                 {"fooba", "Zm9vYmE="},
                 {"foobar", "Zm9vYmFy"},
                 {"\xFB\xFF\xBF", "+/+/"}};
    for (const auto& c : cases) {
        EXPECT_EQ(base64Encode(c.bytes), c.text);
        EXPECT_EQ(base64Decode(c.text), c.bytes);
    }
    EXPECT_EQ(base64Decode("Zm9vYg"), "foob") << "no padding is needed";
    EXPECT_EQ(base64Decode("Zm 9v"), "f");
    EXPECT_EQ(base64Decode("Zm9vZm9\nv"), "foofo");
    EXPECT_EQ(base64Decode("=Zm9v"), "");
    EXPECT_EQ(base64Decode("Z"), "");
    EXPECT_EQ(base64Decode("\x80\xFF"), "");
}

TEST(StringUtils, showsSecondsAsAClock) {
    EXPECT_EQ(timeToString(0, true, false), "00:00:00");
    EXPECT_EQ(timeToString(3725, true, false), "01:02:05");
    EXPECT_EQ(timeToString(3725, false, false), "62:05");
    EXPECT_EQ(timeToString(363600, true, true), "01:00:00");
    EXPECT_EQ(timeToString(363600, true, false), "101:00:00");
    EXPECT_EQ(timeToString(6000, false, true), "00:00");
    EXPECT_EQ(timeToString(4294967295U, true, false), "1193046:28:15");
}

}  // namespace
