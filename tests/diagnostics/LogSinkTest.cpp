#include "diagnostics/log/LogSink.h"

#include <QvPlatform/diagnostics/Log.h>

#include "support/LogCapture.h"
#include "support/StandardError.h"
#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <set>
#include <stdexcept>
#include <thread>
#include <vector>

namespace {

using support::standardErrorOf;

std::string contentOf(const std::string& path) { return support::withPlainLineEnds(support::readFile(path)); }

class LogSink : public testing::Test {
protected:
    ~LogSink() override { Qv::detail::closeLogSink(); }

    support::TemporaryFolder folder_;
    const std::string path_ = folder_.path() + "\xE8\xA8\x98\xE9\x8C\xB2.log";
};

TEST_F(LogSink, receivesTheLinesOfTheDefaultHandlerWhileItIsOpen) {
    standardErrorOf([] { Qv::LogWarn("too early"); });
    ASSERT_TRUE(Qv::detail::openLogSink(path_));
    std::string thrown;
    std::string fileWhenThrown;
    const std::string written = standardErrorOf([&] {
        Qv::LogTrace("above the threshold");
        Qv::LogInfo("first");
        try {
            Qv::LogError("second");
        } catch (const std::runtime_error& error) {
            thrown = error.what();
            fileWhenThrown = contentOf(path_);
        }
    });
    const auto lines = support::linesOf(written);
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(support::withoutStamp(lines[0]), "INFO: first\n");
    EXPECT_EQ(lines[1], thrown);
    EXPECT_EQ(fileWhenThrown, written);

    {
        const support::LogCapture clientsHandler;
        Qv::LogWarn("not for the file");
    }
    Qv::detail::closeLogSink();
    standardErrorOf([] { Qv::LogWarn("too late"); });
    EXPECT_EQ(contentOf(path_), written);
}

TEST_F(LogSink, goesOnAtTheEndOfAFileAndChangesFiles) {
    const std::string other = folder_.path() + "other.log";
    ASSERT_TRUE(Qv::detail::openLogSink(path_));
    Qv::detail::writeToLogSink("1\n");
    ASSERT_TRUE(Qv::detail::openLogSink(other));
    Qv::detail::writeToLogSink("2\n");
    ASSERT_TRUE(Qv::detail::openLogSink(path_));
    Qv::detail::writeToLogSink("3\n");
    EXPECT_EQ(contentOf(path_), "1\n3\n");
    EXPECT_EQ(contentOf(other), "2\n");

    EXPECT_FALSE(Qv::detail::openLogSink(folder_.path() + "missing/file.log"));
    EXPECT_FALSE(Qv::detail::isLogSinkOpen());
    Qv::detail::writeToLogSink("4\n");
    Qv::detail::closeLogSink();
}

TEST_F(LogSink, tearsAndLosesNoLineOfFourThreadsWhileItIsReopened) {
    constexpr int kThreads = 4;
    constexpr int kLines = 100;
    ASSERT_TRUE(Qv::detail::openLogSink(path_));
    const auto lineOf = [](int thread) { return std::string(200, static_cast<char>('a' + thread)) + "\n"; };
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([&, thread] {
            for (int i = 0; i < kLines; ++i) Qv::detail::writeToLogSink(lineOf(thread));
        });
    }
    for (int i = 0; i < 20; ++i) EXPECT_TRUE(Qv::detail::openLogSink(path_));
    for (auto& thread : threads) thread.join();

    std::set<std::string> whole;
    for (int thread = 0; thread < kThreads; ++thread) whole.insert(lineOf(thread));
    const std::vector<std::string> lines = support::linesOf(contentOf(path_));
    EXPECT_EQ(lines.size(), static_cast<std::size_t>(kThreads * kLines));
    for (const std::string& line : lines) ASSERT_TRUE(whole.contains(line)) << line;
}

}  // namespace
