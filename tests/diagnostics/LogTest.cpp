#include <QvPlatform/diagnostics/Log.h>

#include "support/LogCapture.h"
#include "support/StandardError.h"

#include <gtest/gtest.h>

#include <ctime>
#include <set>
#include <stdexcept>
#include <thread>
#include <vector>

namespace {

using Qv::eLogLevel;
using support::LogCapture;
using support::LogStateRestore;
using support::standardErrorOf;
using support::withoutStamp;

constexpr std::size_t kBufferSize = 5000;

/// Calls the installed handler directly, with any level and any format.
void callHandler(eLogLevel level, const char* format, ...) {
    va_list args;
    va_start(args, format);
    LogStateRestore::currentHandler()(level, format, args);
    va_end(args);
}

void ignoreMessage(eLogLevel, const char* const, Qv::LogArgs) {}

std::string currentTimeText() {
    const std::time_t now = std::time(nullptr);
    return std::string(std::ctime(&now), 24);
}

TEST(Log, startsWithDebugTenDaysAndNoFilter) {
    const LogStateRestore restore;
    EXPECT_EQ(Qv::LogGetLevel(), Qv::kLogLevelDebug);
    EXPECT_EQ(Qv::LogGetExpiration(), 10.0);
    EXPECT_EQ(Qv::LogGetRegExFilter(), "");
    for (const double days : {-1.0, 0.25, 10.0}) {
        Qv::LogSetExpiration(days);
        EXPECT_EQ(Qv::LogGetExpiration(), days);
    }
    Qv::LogSetLevel(static_cast<eLogLevel>(-3));
    EXPECT_EQ(Qv::LogGetLevel(), -3);
}

TEST(Log, writesTheTimeOfEachMessage) {
    std::string previous;
    for (int round = 0; round < 2; ++round) {
        std::string before;
        std::string line;
        do {  // within one second, and not the previous round's
            before = currentTimeText();
            line = standardErrorOf([] { Qv::LogWarn("%s is %d%%", "load", 90); });
        } while (before != currentTimeText() || before == previous);
        previous = before;
        EXPECT_EQ(line, before + " - WARN: load is 90%\n");
        EXPECT_EQ(withoutStamp(line), "WARN: load is 90%\n");
    }
}

TEST(Log, prefixesTheSixLevelsOnly) {
    const LogStateRestore restore;
    Qv::LogSetLevel(static_cast<eLogLevel>(7));
    const struct {
        int level;
        const char* line;
    } cases[] = {{-1, "text\n"},       {0, "text\n"},        {3, "WARN: text\n"}, {4, "INFO: text\n"},
                 {5, "DEBUG: text\n"}, {6, "TRACE: text\n"}, {7, "text\n"}};
    for (const auto& c : cases) {
        const std::string line =
            standardErrorOf([&] { callHandler(static_cast<eLogLevel>(c.level), "text"); });
        EXPECT_EQ(withoutStamp(line), c.line) << c.level;
    }
    Qv::LogSetLevel(Qv::kLogLevelNone);
    EXPECT_EQ(withoutStamp(standardErrorOf([] { callHandler(Qv::kLogLevelNone, "text"); })), "text\n");
}

TEST(Log, dropsWhatLiesAboveTheThreshold) {
    const LogStateRestore restore;
    const auto linesAt = [](int threshold) {
        Qv::LogSetLevel(static_cast<eLogLevel>(threshold));
        const std::string written = standardErrorOf([&] {
            if (threshold == Qv::kLogLevelNone) Qv::LogFatal("not the end");
            if (threshold >= Qv::kLogLevelError)
                EXPECT_THROW(Qv::LogError("2"), std::runtime_error);
            else
                EXPECT_NO_THROW(Qv::LogError("2"));
            Qv::LogWarn("3");
            Qv::LogInfo("4");
            Qv::LogDebug("5");
            Qv::LogTrace("6");
        });
        return static_cast<int>(support::linesOf(written).size());
    };
    EXPECT_EQ(linesAt(Qv::kLogLevelNone), 0);
    for (int threshold = Qv::kLogLevelFatal; threshold <= Qv::kLogLevelTrace; ++threshold) {
        EXPECT_EQ(linesAt(threshold), threshold - Qv::kLogLevelFatal) << threshold;
    }
}

TEST(LogDeathTest, endsTheProcessWithStatusOneAfterAFatalMessage) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(Qv::LogFatal("no %s left", "memory"), testing::ExitedWithCode(1), " - FATAL: no memory left");
}

TEST(Log, endsEachWholeMessageWithOneNewline) {
    const struct {
        std::string message;
        std::string written;
    } cases[] = {{"", ""},       {"\n", "\n"},       {"a", "a\n"},
                 {"a\n", "a\n"}, {"a\n\n", "a\n\n"}, {"a\nb", "a\nb\n"}};
    for (const auto& c : cases) {
        const std::string line = standardErrorOf([&] { Qv::LogInfo("%s", c.message.c_str()); });
        EXPECT_EQ(withoutStamp(line), "INFO: " + c.written) << c.message;
    }
    EXPECT_EQ(withoutStamp(standardErrorOf([] { callHandler(Qv::kLogLevelWarn, nullptr, 0); })), "WARN: ");
    EXPECT_EQ(withoutStamp(standardErrorOf([] { Qv::LogWarn("%c", 0); })), "WARN: \n");
}

TEST(Log, cutsALineAtTheBufferAndThenAddsNoNewline) {
    const std::size_t room = kBufferSize - support::kStampLength - std::string("WARN: ").size();
    const struct {
        std::size_t length;
        std::size_t kept;
        bool newline;
    } cases[] = {{room - 2, room - 2, true},
                 {room - 1, room - 1, true},  // 4999 characters, and the newline still fits
                 {room, room - 1, false},
                 {2 * kBufferSize, room - 1, false}};
    for (const auto& c : cases) {
        const std::string message(c.length, 'x');
        const std::string line = standardErrorOf([&] { Qv::LogWarn("%s", message.c_str()); });
        EXPECT_EQ(withoutStamp(line), "WARN: " + std::string(c.kept, 'x') + (c.newline ? "\n" : ""))
            << c.length;
    }
}

TEST(Log, replacesTheHandlerAndRefusesNone) {
    const LogStateRestore restore;
    const Qv::LogHandler initial = LogStateRestore::currentHandler();
    ASSERT_NE(initial, nullptr);
    EXPECT_EQ(Qv::LogSetHandler(ignoreMessage), initial);
    EXPECT_EQ(Qv::LogSetHandler(nullptr), ignoreMessage);
    EXPECT_EQ(Qv::LogSetHandler(initial), ignoreMessage);
}

TEST(Log, givesAReplacedHandlerEveryLevelWhateverTheThreshold) {
    const LogCapture capture;
    Qv::LogSetLevel(Qv::kLogLevelNone);
    Qv::LogFatal("%d", 1);
    Qv::LogError("%d", 2);
    Qv::LogWarn("%d", 3);
    Qv::LogInfo("%d", 4);
    Qv::LogDebug("%d", 5);
    Qv::LogTrace("%d", 6);
    const auto messages = LogCapture::take();
    ASSERT_EQ(messages.size(), 6U);
    for (int level = 1; level <= 6; ++level) {
        const auto& message = messages[static_cast<std::size_t>(level - 1)];
        EXPECT_EQ(message.level, level);
        EXPECT_EQ(message.format, "%d");
        EXPECT_EQ(message.text, std::to_string(level));
    }
}

TEST(Log, tearsNoLineOfFourThreads) {
    constexpr int kThreads = 4;
    constexpr int kLines = 250;
    const std::string filling(100, 'x');
    const std::string written = standardErrorOf([&] {
        std::vector<std::thread> threads;
        for (int thread = 0; thread < kThreads; ++thread) {
            threads.emplace_back([&, thread] {
                for (int i = 0; i < kLines; ++i) Qv::LogInfo("%d/%d %s", thread, i, filling.c_str());
            });
        }
        for (auto& thread : threads) thread.join();
    });
    std::set<std::string> expected;
    for (int n = 0; n < kThreads * kLines; ++n) {
        expected.insert("INFO: " + std::to_string(n / kLines) + "/" + std::to_string(n % kLines) + " " +
                        filling + "\n");
    }
    for (const std::string& line : support::linesOf(written))
        ASSERT_EQ(expected.erase(withoutStamp(line)), 1U) << line;
    EXPECT_EQ(expected.size(), 0U);
}

}  // namespace
