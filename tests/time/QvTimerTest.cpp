#include "Elapsed.h"
#include "support/LogCapture.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>

namespace {

using support::LogCapture;

const double atProgramStart = QvTimer::now();

TEST(QvTimer, countsTicksFromTheLoadOfTheLibraryOn) {
    EXPECT_NEAR(atProgramStart, 15.0, 15.0);
    const auto start = std::chrono::steady_clock::now();
    const double now = QvTimer::now();
    const long long first = QvTimer::currentTimestamp();
    pass(kPause);
    const double shortest = QvTimer::toSeconds(QvTimer::difference(QvTimer::currentTimestamp(), first));
    const double passed = QvTimer::now() - now;
    const std::chrono::duration<double> longest = std::chrono::steady_clock::now() - start;
    EXPECT_GE(passed, shortest - 1e-9);
    EXPECT_NEAR(longest.count() - passed, 5.0, 5.0 + 2e-7);  // a tick of either clock
    EXPECT_EQ(QvTimer::difference(QvTimer::sum(first, 7), 7), first);
    const double frequency = std::round(1.0 / QvTimer::getPrecision());
    for (const int t : {0, 3, -7, 49, 999'999'937}) EXPECT_EQ(QvTimer::toSeconds(t), t / frequency);
}

TEST(QvTimer, addsLapsUp) {
    const LogCapture capture;
    QvTimer timer(true);
    pass(kPause);
    EXPECT_GE(timer.getTime(), kPause);
    const double first = timer.stop();
    timer.start();
    pass(kPause);
    QvTimer copy = timer;
    const double second = timer.stop();
    EXPECT_TRUE(second >= kPause && second == timer.getLastTime());
    EXPECT_DOUBLE_EQ(timer.getTotalTime(), first + second);
    EXPECT_FALSE(timer.isRunning());
    EXPECT_TRUE(copy.isRunning() && copy.getTotalTime() == first && copy.stop() >= second);
    timer.reset();
    for (const QvTimer& unused : {timer, QvTimer(false)})
        EXPECT_TRUE(!unused.isRunning() && unused.getLastTime() == 0 && unused.getTotalTime() == 0);
    EXPECT_TRUE(LogCapture::take().empty());
}

TEST(QvTimer, toleratesMisuse) {
    const LogCapture capture;
    QvTimer timer(true);
    pass(kPause);
    const long long start = QvTimer::currentTimestamp();
    timer.start();
    const double lap = timer.stop();
    pass(kPause);
    const double longer = timer.stop();
    EXPECT_TRUE(longer >= lap + kPause && longer <= timer.getTime() && fits(longer, start));
    EXPECT_DOUBLE_EQ(timer.getTotalTime(), lap + longer);
    timer.reset();
    EXPECT_GE(timer.stop(), QvTimer::toSeconds(start));  // since the counter's origin
    std::string log;
    for (const auto& message : LogCapture::take()) log += std::to_string(message.level) + message.text;
    const std::string notRunning = "5QvTimer: Timer is not running.\n";
    EXPECT_EQ(log, "5QvTimer: Timer already running.\n" + notRunning + notRunning + notRunning);
}

}  // namespace
