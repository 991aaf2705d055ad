#pragma once

#include <QvPlatform/time/QvTimer.h>

#include <thread>

using Qv::QvTimer;

// Bounds measured with the tested counter hold even on a busy machine; sums may be rounded up.

constexpr double kPause = 0.01;

inline double since(long long start) { return QvTimer::toSeconds(QvTimer::currentTimestamp() - start); }
inline bool fits(double seconds, long long start) { return seconds <= since(start) + 1e-9; }

inline void pass(double seconds) {
    const long long start = QvTimer::currentTimestamp();
    while (since(start) < seconds) std::this_thread::yield();
}
