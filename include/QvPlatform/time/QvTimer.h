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
/// Misuse is tolerated and logged at DEBUG level: starting a running timer discards the current lap, and
/// stopping it twice counts the time since the last start twice. A value type, for one thread at a time; any
/// thread may call the static functions. Times are in seconds, time stamps in ticks.
class QV_API QvTimer {
public:
    explicit QvTimer(bool startNow);

    /// Stops the timer and sets all times to zero.
    void reset();
    void start();
    /// Ends the lap, adds its time to the total, and returns it.
    double stop();

    /// The time since the last start.
    double getTime() const;
    double getLastTime() const;
    /// The total time of the completed laps.
    double getTotalTime() const;
    bool isRunning() const;

    /// The time since the library was loaded.
    static double now();
    static long long currentTimestamp();
    /// Returns a - b.
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
