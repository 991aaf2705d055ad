#include <QvPlatform/core/QvVersion.h>

#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <vector>

namespace {

using Qv::QvVersion;
using Texts = std::vector<std::string>;

TEST(QvVersion, parsesUpToFourComponentsOfDigits) {
    const struct {
        const char* text;
        const char* result;
    } cases[] = {
        {"", "0.0.0.0"},
        {"1", "1.0.0.0"},
        {"1.", "1.0.0.0"},
        {"1.2.", "1.2.0.0"},
        {"01.002.3.4", "1.2.3.4"},
        {"1.2.3.4.5", "1.2.3.4"},
        {"1.2.3.4.xyz", "1.2.3.4"},
        {"2147483647.2147483648", "2147483647.-2147483648.0.0"},
        {"4294967296.4294967297", "0.1.0.0"},
        {"99999999999", "1215752191.0.0.0"},
    };
    for (const auto& c : cases) {
        QvVersion out(7, 7, 7, 7, "kept");
        EXPECT_TRUE(QvVersion::parse(c.text, &out)) << c.text;
        EXPECT_TRUE(QvVersion::parse(c.text, nullptr)) << c.text;
        EXPECT_EQ(out.toString(), c.result) << c.text;
        EXPECT_EQ(out.label, "kept");
        EXPECT_EQ(QvVersion(c.text).toString(), c.result) << c.text;
        EXPECT_EQ(QvVersion(c.text).label, "");
    }
}

TEST(QvVersion, refusesOtherCharactersAndEmptyComponents) {
    for (const std::string& text : Texts{
             ".", ".1", "1..2", "1.2a", "1.2.3.4x", " 1", "1 ", "-1", "+1", "abc", "\xD9\xA1", {"1\0", 2}}) {
        QvVersion out(7, 7, 7, 7, "kept");
        EXPECT_FALSE(QvVersion::parse(text, &out)) << text;
        EXPECT_FALSE(QvVersion::parse(text, nullptr)) << text;
        EXPECT_EQ(out.toString() + out.label, "7.7.7.7kept") << text;
        EXPECT_EQ(QvVersion(text).toString(), "0.0.0.0") << text;
    }
}

TEST(QvVersion, comparesTheFirstThreeComponentsAsSignedNumbers) {
    const struct {
        QvVersion lower;
        QvVersion upper;
        int order;
    } cases[] = {
        {{1, 2, 3, 4, "a"}, {1, 2, 3, 9, "b"}, 0},
        {{1, 2, 3, 4, ""}, {1, 3, 0, 0, ""}, -1},
        {{1, 9, 9, 9, ""}, {2, 0, 0, 0, ""}, -1},
        {{1, 2, 3, 9, ""}, {1, 2, 4, 0, ""}, -1},
        {{-1, 5, 0, 0, ""}, {0, 0, 0, 0, ""}, -1},
        {{INT_MIN, 0, 0, 0, ""}, {INT_MAX, 0, 0, 0, ""}, -1},  // a difference would overflow
        {{9, 0, 0, 0, ""}, {10, 0, 0, 0, ""}, -1},             // a text comparison would reverse it
    };
    for (const auto& c : cases) {
        EXPECT_EQ(QvVersion::compare(c.lower, c.upper), c.order) << c.lower.toString();
        EXPECT_EQ(QvVersion::compare(c.upper, c.lower), -c.order) << c.lower.toString();
    }
}

TEST(QvVersion, isTheProductsOwnByDefault) {
    const QvVersion byDefault;
    for (const QvVersion& version : {byDefault, QvVersion::QuorexVersion}) {
        EXPECT_EQ(version.toString(), Qv::QvGetVersion());
        EXPECT_EQ(version.label, "2020a");
    }
    EXPECT_STREQ(Qv::QvGetVersion(), "2020.3.0.68");
}

TEST(QvVersion, keepsItsTextUntilItIsAssigned) {
    QvVersion version(1, 2, 3, 4, "label");
    EXPECT_EQ(&version.toString(), &version.toString());
    ASSERT_TRUE(QvVersion::parse("5.6.7.8", &version));
    EXPECT_EQ(version.major, 5);
    EXPECT_EQ(version.toString(), "1.2.3.4");
    const QvVersion copy = version;
    EXPECT_EQ(copy.toString(), "5.6.7.8");

    const QvVersion& self = version;
    version = self;
    EXPECT_EQ(version.toString(), "1.2.3.4");
    EXPECT_EQ(version.label, "label");

    version = QvVersion(9, 8, 7, 6, "other");
    EXPECT_EQ(version.toString(), "9.8.7.6");
    EXPECT_EQ(version.label, "other");
}

}  // namespace
