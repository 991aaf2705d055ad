#pragma once

#include <QvPlatform/core/Export.h>

#include <cstdint>
#include <memory>

/// Time stamps and a stopwatch with a running total. The arithmetic is unsigned. Value types, each for one
/// thread at a time. Times are in seconds.
namespace QvSim::Timer {

/// A point in time on the system's monotonic counter.
class QV_API Time {
public:
    /// The current time.
    Time();
    Time(const Time& other);
    Time& operator=(const Time& other);
    ~Time();

    /// Sets this to the current time.
    void update();

    bool operator<(const Time& other) const;
    /// The time from `other` to this. Trap: if `other` is later, the result is about 1.8e19 ticks, converted
    /// to seconds, never a negative number.
    double operator-(const Time& other) const;

private:
    struct Record;
    std::unique_ptr<Record> record_;
};

/// A stopwatch that continues where it was stopped.
class QV_API Timer {
public:
    /// Not running; the elapsed time is 0.
    Timer();
    explicit Timer(bool startNow);
    /// Copies all but the last reading, which is set to the current time.
    Timer(const Timer& other);
    Timer& operator=(const Timer& other);
    ~Timer();

    /// Starts or continues; does nothing while running.
    void start();
    void stop();
    /// The total elapsed time, including the current lap.
    double elapsed() const;
    /// Trap: the time since the last start or reset, even if stopped since.
    double elapsedSinceLastStop() const;
    /// Sets the elapsed time as of now; a running timer continues from there.
    void setElapsed(const double& seconds);
    /// Sets the elapsed time to 0. If running, returns the time since the last reading, else 0.
    double reset();
    bool isRunning() const;

private:
    void restart();

    bool running_ = false;
    Time startTime_;
    mutable Time currentTime_;
    double elapsedTotal_ = 0.0;
};

/// The shortest period of the system's timers; 0 if unavailable. Any thread.
QV_API double getTimerResolution();

}  // namespace QvSim::Timer
