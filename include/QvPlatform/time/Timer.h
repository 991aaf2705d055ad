#pragma once

#include <QvPlatform/core/Export.h>

#include <cstdint>
#include <memory>

/// Time stamps and a stopwatch with a running total. Their arithmetic is unsigned. Value types, each for one
/// thread at a time. Times are in seconds.
namespace QvSim::Timer {

/// A point in time on the system's monotonic counter.
class QV_API Time {
public:
    /// Now.
    Time();
    Time(const Time& other);
    Time& operator=(const Time& other);
    ~Time();

    /// Makes it now.
    void update();

    bool operator<(const Time& other) const;
    /// The time from `other` to this. Trap: a later `other` gives about 1.8e19 ticks, never a negative
    /// number.
    double operator-(const Time& other) const;

private:
    struct Record;
    std::unique_ptr<Record> record_;
};

/// A stopwatch that goes on where it was stopped.
class QV_API Timer {
public:
    /// Not running, with nothing elapsed.
    Timer();
    explicit Timer(bool startNow);
    /// The last reading is not copied: the copy's is now.
    Timer(const Timer& other);
    Timer& operator=(const Timer& other);
    ~Timer();

    /// Goes on; does nothing while it runs.
    void start();
    void stop();
    /// All that has elapsed, with the lap under way.
    double elapsed() const;
    /// Trap: since the last start or reset, also when stopped.
    double elapsedSinceLastStop() const;
    /// As if so much had elapsed by now.
    void setElapsed(const double& seconds);
    /// Nothing has elapsed. Returns the time since the last reading while it runs, else 0.
    double reset();
    bool isRunning() const;

private:
    void restart();

    bool running_ = false;
    Time startTime_;
    mutable Time currentTime_;
    double elapsedTotal_ = 0.0;
};

/// The finest period of the system's timers; 0 when it does not tell. Any thread.
QV_API double getTimerResolution();

}  // namespace QvSim::Timer
