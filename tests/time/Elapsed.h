#pragma once

#include <QvPlatform/time/QvTimer.h>

#include <thread>

using Qv::QvTimer;

// Bounds by the counter that is tested hold however busy the machine is; sums may have been rounded up.

constexpr double kPause = 0.01;

inline double since(long long start) { return QvTimer::toSeconds(QvTimer::currentTimestamp() - start); }
inline bool fits(double seconds, long long start) { return seconds <= since(start) + 1e-9; }

inline void pass(double seconds) {
    const long long start = QvTimer::currentTimestamp();
    while (since(start) < seconds) std::this_thread::yield();
}
