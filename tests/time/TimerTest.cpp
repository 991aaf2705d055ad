#include <QvPlatform/time/CycleTime.h>
#include <QvPlatform/time/Timer.h>

#include "Elapsed.h"
#include "support/LogCapture.h"
#include "support/Platform.h"

#include <gtest/gtest.h>
#include <x86intrin.h>

#include <ctime>

namespace {

using Stopwatch = QvSim::Timer::Timer;

TEST(Timer, subtractsStampsWithoutSign) {
    const QvSim::Timer::Time first;
    QvSim::Timer::Time second;
    second = first;
    EXPECT_FALSE(first < second || second < first);
    pass(kPause);
    second.update();
    EXPECT_TRUE(first < second && !(second < first) && second - first >= kPause);
    EXPECT_NEAR((first - second) / (18446744073709551616.0 * QvTimer::getPrecision()), 1.0, 1e-6);
}

TEST(Timer, goesOnWhereItWasStopped) {
    Stopwatch timer(true);
    pass(kPause);
    timer.start();
    EXPECT_TRUE(timer.isRunning() && timer.elapsed() >= kPause);
    timer.stop();
    const double lap = timer.elapsed();
    pass(kPause);
    EXPECT_TRUE(timer.elapsed() == lap && timer.elapsedSinceLastStop() >= lap + kPause);
    const long long start = QvTimer::currentTimestamp();
    timer.start();
    pass(kPause);
    for (int round = 0; round < 2; ++round) timer.stop();
    EXPECT_TRUE(timer.elapsed() >= lap + kPause && fits(timer.elapsed() - lap, start));
    EXPECT_TRUE(fits(timer.elapsedSinceLastStop(), start));
}

TEST(Timer, isSetAndCopied) {
    Stopwatch standing;
    pass(kPause);
    standing.setElapsed(10.0);
    EXPECT_TRUE(standing.elapsed() == 10.0 && standing.reset() == 0.0 && standing.elapsed() == 0.0);
    EXPECT_GE(standing.elapsedSinceLastStop(), kPause);  // since the last reading

    Stopwatch timer(true);
    pass(kPause);
    const long long start = QvTimer::currentTimestamp();
    timer.setElapsed(10.0);
    EXPECT_TRUE(fits(timer.elapsed() - 10.0, start));
    pass(kPause);
    Stopwatch copy(timer);
    Stopwatch assigned;
    assigned = timer;
    for (Stopwatch* each : {&timer, &assigned}) EXPECT_GE(each->reset(), kPause);  // since the last reading
    EXPECT_TRUE(fits(timer.elapsed() + kPause, start));
    EXPECT_TRUE(assigned.isRunning() && Stopwatch(copy).elapsed() >= 10.0 + kPause);
    EXPECT_TRUE(fits(copy.reset() + kPause, start));
}

TEST(Timer, measuresInSecondsAndCyclesOfAllThreads) {
    EXPECT_DOUBLE_EQ(QvSim::Timer::getTimerResolution(), support::kWindows ? 1e-3 : 1e-9);
    const support::LogCapture log;
    const double before = QvPlatform::CycleTime::getCurrentValue();
    const auto counter = __rdtsc();
    const long long start = QvTimer::currentTimestamp();
    std::thread([used = std::clock()] {
        while (std::clock() - used < CLOCKS_PER_SEC / 10) continue;
    }).join();
    const double cycles = QvPlatform::CycleTime::getCurrentValue() - before;
    const double expected = static_cast<double>(__rdtsc() - counter) / since(start) / 10;
    EXPECT_GE(cycles, support::kWindows ? 0.0 : 0.9 * expected);  // Wine does not report it
    EXPECT_TRUE(log.take().empty());                              // and that failure (0) is not logged
    EXPECT_LE(cycles, 10 * expected);
}

}  // namespace
