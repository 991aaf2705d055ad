#pragma once

#include <QvPlatform/core/Export.h>

#include <cstdint>

namespace Qv {

/// A stopwatch with laps, on the system's monotonic counter.
///
///     Qv::QvTimer timer(true);
///     ...
///     const double seconds = timer.stop();
///
/// Misuse is tolerated, with a DEBUG message: starting it while it runs loses the lap under way, and
/// stopping it twice counts the time since the last start twice. A value type, for one thread at a time;
/// the static functions are for any thread. Times are in seconds, time stamps in ticks.
class QV_API QvTimer {
public:
    explicit QvTimer(bool startNow);

    /// Everything zero, not running.
    void reset();
    void start();
    /// Ends the lap, adds it to the total, and returns it.
    double stop();

    /// Since the last start.
    double getTime() const;
    double getLastTime() const;
    /// Of the laps that have ended.
    double getTotalTime() const;
    bool isRunning() const;

    /// Since the library was loaded.
    static double now();
    static long long currentTimestamp();
    /// a - b
    static long long difference(long long a, long long b);
    static long long sum(long long a, long long b);
    static double toSeconds(long long ticks);
    /// The length of a tick.
    static double getPrecision();

private:
    std::int64_t startTicks_ = 0;
    std::int64_t stopTicks_ = 0;
    std::int64_t totalTicks_ = 0;
    bool running_ = false;
};

}  // namespace Qv
