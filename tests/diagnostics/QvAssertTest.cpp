#include <QvPlatform/diagnostics/QvAssert.h>

#include "support/LogCapture.h"
#include "support/StandardError.h"

#include <gtest/gtest.h>

#include <climits>
#include <stdexcept>

namespace {

using support::LogCapture;

support::LogMessage onlyMessage() {
    const auto messages = LogCapture::take();
    EXPECT_EQ(messages.size(), 1U);
    return messages.empty() ? support::LogMessage{} : messages.front();
}

TEST(QvAssert, namesTheLastComponentAndTheLine) {
    const LogCapture capture;
    const struct {
        const char* file;
        unsigned int line;
        const char* text;
    } cases[] = {
        {"f.cpp", 7, "f.cpp:    7: got 3"},
        {"/usr/src/f.cpp", 1234, "f.cpp: 1234: got 3"},
        {"../src/f.cpp", 12345, "f.cpp: 12345: got 3"},
        {"C:\\src\\f.cpp", UINT_MAX, "f.cpp: 4294967295: got 3"},
        {"100%s%n.cpp", 0, "100%s%n.cpp:    0: got 3"},
        {"QvPluginManager", 1, "QvPluginManager:    1: got 3"},
        {"\xE5\x90\x8D.cpp", 1, "\xE5\x90\x8D.cpp:    1: got 3"},
        {"folder/", 1, ":    1: got 3"},
        {nullptr, 1, ":    1: got 3"},
    };
    for (const auto& c : cases) {
        Qv::QvAssertImplementation(c.file, c.line, false, "got %d", 3);
        const auto message = onlyMessage();
        EXPECT_EQ(message.level, Qv::kLogLevelError);
        EXPECT_EQ(message.text, c.text);
    }
}

TEST(QvAssert, handsTheFormatOnUnexpandedAndPastTheFilter) {
    const LogCapture capture;
    Qv::LogSetRegExFilter("[");
    Qv::LogSetLevel(Qv::kLogLevelNone);
    Qv::QvAssertImplementation("a.cpp", 1, false, "%s of %zu", "one", sizeof(char));
    const auto message = onlyMessage();
    EXPECT_EQ(message.format, "a.cpp:    1: %s of %zu");
    EXPECT_EQ(message.text, "a.cpp:    1: one of 1");
}

TEST(QvAssert, takesANullFormat) {
    const LogCapture capture;
    const char* volatile none = nullptr;  // the compiler would reject a constant
    Qv::QvAssertImplementation(nullptr, 1, true, none, 0);
    EXPECT_TRUE(LogCapture::take().empty());
    Qv::QvAssertImplementation("a.cpp", 1, false, none, 0);
    EXPECT_EQ(onlyMessage().text, "a.cpp:    1: ");
}

TEST(QvAssert, throwsTheLineUnderTheDefaultHandler) {
    const std::string longText(6000, 'x');
    const std::string written = support::standardErrorOf([&] {
        EXPECT_THROW(Qv::QvAssertImplementation("a.cpp", 7, false, "got %d", 3), std::runtime_error);
        EXPECT_THROW(Qv::QvAssertImplementation("a.cpp", 7, false, "%s", longText.c_str()),
                     std::runtime_error);
    });
    const auto lines = support::linesOf(written);
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(support::withoutStamp(lines[0]), "ERROR: a.cpp:    7: got 3\n");
    EXPECT_EQ(lines[1].size(), 4999U);
}

TEST(QvAssert, evaluatesTheConditionOnceAndTheArgumentsOnlyOnFailure) {
    const LogCapture capture;
    int conditions = 0;
    int arguments = 0;
    QV_ASSERT(++conditions, "argument %d", ++arguments);
    EXPECT_EQ(conditions, 1);
    EXPECT_EQ(arguments, 0);
    const int line = __LINE__ + 1;
    QV_ASSERT(++conditions > 2, "argument %d", ++arguments);
    EXPECT_EQ(conditions, 2);
    const std::string number = std::to_string(line);
    EXPECT_EQ(onlyMessage().text,
              "QvAssertTest.cpp: " + std::string(4 - number.size(), ' ') + number + ": argument 1");
}

}  // namespace
