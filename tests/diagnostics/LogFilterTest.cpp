#include <QvPlatform/diagnostics/Log.h>

#include "support/LogCapture.h"
#include "support/StandardError.h"

#include <gtest/gtest.h>

#include <regex>
#include <string>
#include <vector>

namespace {

using support::LogCapture;
using Texts = std::vector<std::string>;

bool passes(const std::string& filter, const std::string& message) {
    Qv::LogSetRegExFilter(filter);
    Qv::LogWarn("%s", message.c_str());
    const Texts texts = LogCapture::takeTexts();
    EXPECT_TRUE(texts.empty() || texts == Texts{message});
    return !texts.empty();
}

TEST(LogFilter, searchesTheMessageAlone) {
    const LogCapture capture;
    const struct {
        const char* filter;
        const char* message;
        bool passes;
    } cases[] = {
        {"abc", "xabcx", true},  {"abc", "ab", false},       {"a|b", "xb", true},
        {"^b", "ab", false},     {"^ab", "abc", true},       {"^b", "a\nb", false},
        {"done$", "done", true}, {"done$", "done\n", false}, {"done\n$", "done\n", true},
        {"WARN", "text", false}, {" - ", "text", false},     {"[0-9]{2}:", "text", false},
        {"(x)\\1", "axx", true}, {"ABC", "abc", false},      {"x*", "", true},
        {"", "anything", true},
    };
    for (const auto& c : cases)
        EXPECT_EQ(passes(c.filter, c.message), c.passes) << c.filter << " in " << c.message;
}

TEST(LogFilter, seesTheFirst4999Bytes) {
    const LogCapture capture;
    EXPECT_TRUE(passes("needle", std::string(4993, 'x') + "needle"));
    EXPECT_FALSE(passes("needle", std::string(4994, 'x') + "needle"));
}

TEST(LogFilter, givesTheHandlerArgumentsThatNobodyHasRead) {
    const LogCapture capture;
    Qv::LogSetRegExFilter("1 two 3");
    Qv::LogDebug("%d %s %.0f", 1, "two", 3.0);
    EXPECT_EQ(LogCapture::takeTexts(), Texts{"1 two 3"});
}

TEST(LogFilter, leavesErrorsAndFatalMessagesAlone) {
    const LogCapture capture;
    for (const char* filter : {"abc", "["}) {
        Qv::LogSetRegExFilter(filter);
        Qv::LogError("ab");
        Qv::LogFatal("ab");
        EXPECT_EQ(LogCapture::takeTexts(), (Texts{"ab", "ab"})) << filter;
    }
}

TEST(LogFilter, throwsFromTheLowerLevelsWhenItIsInvalid) {
    const support::LogStateRestore restore;
    Qv::LogSetRegExFilter("(");
    EXPECT_EQ(Qv::LogGetRegExFilter(), "(");
    const std::string longText(3000, 'x');
    for (const auto threshold : {Qv::kLogLevelTrace, Qv::kLogLevelNone}) {
        Qv::LogSetLevel(threshold);
        const std::string written = support::standardErrorOf([&] {
            EXPECT_THROW(Qv::LogWarn("text"), std::regex_error);
            EXPECT_THROW(Qv::LogInfo("text"), std::regex_error);
            EXPECT_THROW(Qv::LogDebug("%s", longText.c_str()), std::regex_error);
            EXPECT_THROW(Qv::LogTrace("text"), std::regex_error);
        });
        EXPECT_EQ(written, "");
    }
}

std::string repeated(const std::string& text, int times) {
    std::string all;
    while (times-- > 0) all += text;
    return all;
}

TEST(LogFilter, survivesALongTextAndAPatternThatRecursesForEachCharacter) {
    const LogCapture capture;
    const std::string nested = "^" + repeated("(", 60) + "a" + repeated(")*", 60) + "z$";
    for (const std::string& filter : {std::string("^(.|b)*z$"), nested}) {
        EXPECT_TRUE(passes(filter, std::string(4998, 'a') + "z")) << filter;
        EXPECT_FALSE(passes(filter, std::string(4999, 'a'))) << filter;
    }
    EXPECT_FALSE(passes("a*a*a*z", std::string(4999, 'a')));
    EXPECT_TRUE(passes("(?!x)a(?=z)", "xaz"));
    EXPECT_FALSE(passes("(?=^a)", "xa"));
}

TEST(LogFilter, refusesWhatCouldOverflowTheStack) {
    const LogCapture capture;
    const struct {
        std::string filter;
        std::size_t length;
        bool isRefused;
    } cases[] = {
        {std::string(1000, 'a'), 1, false},
        {std::string(1001, 'a'), 1, true},
        {repeated("(", 100) + repeated(")", 100), 1, false},
        {repeated("(", 101) + repeated(")", 101), 1, true},
        {repeated("(?=", 101) + repeated(")", 101), 1, true},
        {"(?:ab){130}", 1, false},
        {"(?:ab){0,2000}", 1, true},
        {"((a?){30}){40}", 1, true},
        {"[[:alpha:](){9}]{20,}", 1, false},
        {"[[x]a{900}", 1, true},
        {"\\({900}", 1, true},
        {"(.)\\1", 4999, false},
        {"(a+)\\1", 400, false},
        {"(a+)\\1", 600, true},
        {"(a)(?:b|\\1){1,}", 100, false},
        {"(a)(?:b|\\1){1,}", 200, true},
    };
    for (const auto& c : cases) {
        bool refused = false;
        try {
            passes(c.filter, std::string(c.length, 'a'));
        } catch (const std::regex_error&) {
            refused = true;
        }
        EXPECT_EQ(refused, c.isRefused) << c.filter << " for " << c.length;
    }
}

}  // namespace
