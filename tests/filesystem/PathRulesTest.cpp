#include "filesystem/PathRules.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using namespace QvPlatform::PathRules;

std::string windowsFolder() { return "C:/cwd/"; }
std::string posixFolder() { return "/cwd/"; }

TEST(PathRules, normalizeTextsByTheRulesOfEachPlatform) {
    const struct {
        std::string text;
        std::string windows;
        std::string posix;
    } directories[] = {
        {"", "C:/cwd/", "/cwd/"},
        {".", "C:/cwd/", "/cwd/"},
        {"./", "C:/cwd/", "/cwd/"},
        {".\\sub", "C:/cwd/sub/", "/cwd/sub/"},
        {"..", "C:/", "/"},
        {"../..", "C:/../", "/../"},
        {"sub", "C:/cwd/sub/", "/cwd/sub/"},
        {"sub/", "C:/cwd/sub/", "/cwd/sub/"},
        {".hidden", "C:/cwd/.hidden/", "/cwd/.hidden/"},
        {"...", "C:/cwd/.../", "/cwd/.../"},
        {".:/x", "C:/cwd/.:/x/", "/cwd/.:/x/"},  // the dot is tested before the colon
        {"x:y", "x:y/", "x:y/"},
        {"a/b:c", "a/b:c/", "a/b:c/"},
        {"C:", "C:/", "C:/"},
        {"C:foo", "C:foo/", "C:foo/"},
        {"C:\\a\\b", "C:/a/b/", "C:/a/b/"},
        {"C:/a/./b/../c", "C:/a/c/", "C:/a/c/"},
        {"C:/a//../b", "C:/a/b/", "C:/a/b/"},
        {"C:/../x/", "C:/../x/", "C:/../x/"},
        {"C:/a/../../b/../c", "C:/../b/../c/", "C:/../b/../c/"},  // stops at the first that cannot be folded
        {"C:/a/./../b", "C:/b/", "C:/b/"},
        {"//srv/share", "//srv/share/", "//srv/share/"},
        {"\\\\srv\\share\\..", "//srv/", "//srv/"},
        {"/", "C:/cwd//", "/"},
        {"/a", "C:/cwd//a/", "/a/"},
        {"/a/../../b", "C:/cwd/b/", "/../b/"},
        {"/.", "C:/cwd//", "/"},
        {"\xE5\x90\x8D\xFF", "C:/cwd/\xE5\x90\x8D\xFF/", "/cwd/\xE5\x90\x8D\xFF/"},
    };
    for (const auto& c : directories) {
        EXPECT_EQ(normalize(c.text, PathKind::directory, PathStyle::windows, windowsFolder), c.windows)
            << c.text;
        EXPECT_EQ(normalize(c.text, PathKind::directory, PathStyle::posix, posixFolder), c.posix) << c.text;
    }
}

TEST(PathRules, leaveTheEndOfAFilesTextAlone) {
    const struct {
        std::string text;
        std::string path;
    } files[] = {
        {"", "/cwd/"},         {"..", "/cwd/.."},           {"a/.", "/cwd/a/."}, {"a/..", "/cwd/a/.."},
        {"a/b/", "/cwd/a/b/"}, {"./a", "/cwd/a"},           {"../a", "/a"},      {"a/./../b", "/cwd/b"},
        {"a\\b", "/cwd/a/b"},  {".bashrc", "/cwd/.bashrc"},
    };
    for (const auto& c : files) {
        EXPECT_EQ(normalize(c.text, PathKind::file, PathStyle::posix, posixFolder), c.path) << c.text;
        EXPECT_EQ(normalize(c.text, PathKind::file, PathStyle::windows, windowsFolder), "C:" + c.path)
            << c.text;
    }
}

TEST(PathRules, chooseTheNativeFormByThePathsOwn) {
    const struct {
        std::wstring path;
        bool posixHasBackslashes;
    } cases[] = {
        {L"C:/a/", true}, {L"C:", true},      {L"x:y/z", true}, {L"//srv/share/", true}, {L"/srv/x/", false},
        {L"/", false},    {L"/a:b/c", false}, {L"", false},     {L"a/b:c/", false},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(hasNativeBackslashes(c.path, PathStyle::posix), c.posixHasBackslashes);
        EXPECT_TRUE(hasNativeBackslashes(c.path, PathStyle::windows));
    }
}

TEST(PathRules, compareWithAsciiLettersInLowerCase) {
    const struct {
        std::wstring lower;
        std::wstring upper;
        int order;
    } cases[] = {
        {L"C:/A/", L"c:/a/", 0}, {L"", L"", 0},        {L"", L"/", -1},           {L"a", L"ab", -1},
        {L"a/", L"B/", -1},      {L"a_b", L"AAB", -1},  // in ASCII between upper and lower case
        {L"[", L"A", -1},        {L"@", L"A", -1},     {L"Z", L"{", -1},          {L"\u00C9", L"\u00E9", -1},
        {L"\u0130", L"i", 1},    {L"\u212A", L"k", 1}, {L"z", L"\U0001D11E", -1},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(compareFolded(c.lower, c.upper), c.order);
        EXPECT_EQ(compareFolded(c.upper, c.lower), -c.order);
    }
    EXPECT_TRUE(startsWithFolded(L"C:/A/b", L"c:/a/"));
    EXPECT_TRUE(startsWithFolded(L"x", L""));
    EXPECT_FALSE(startsWithFolded(L"C:/A", L"c:/a/"));
    EXPECT_FALSE(startsWithFolded(L"C:/\u00C9/", L"C:/\u00E9/"));
}

}  // namespace
