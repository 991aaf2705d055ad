#include <QvPlatform/time/QvTimer.h>

#include <QvPlatform/diagnostics/Log.h>

#include "os/Clock.h"

namespace Qv {
namespace {

double frequency() { return static_cast<double>(os::counterFrequency()); }

// Started when the library is loaded, or earlier if a static initializer needs it before that.
const QvTimer& processTimer() {
    static const QvTimer timer(true);
    return timer;
}

[[maybe_unused]] const QvTimer& startedAtLoad = processTimer();

void reportNotRunning() { LogDebug("QvTimer: Timer is not running.\n"); }

}  // namespace

QvTimer::QvTimer(bool startNow) {
    if (startNow) start();
}

void QvTimer::reset() { *this = QvTimer(false); }

void QvTimer::start() {
    if (running_) LogDebug("QvTimer: Timer already running.\n");
    running_ = true;
    startTicks_ = os::counterTicks();
}

double QvTimer::stop() {
    stopTicks_ = os::counterTicks();
    if (!running_) reportNotRunning();
    totalTicks_ = sum(totalTicks_, difference(stopTicks_, startTicks_));
    running_ = false;
    return getLastTime();
}

double QvTimer::getTime() const {
    if (!running_) reportNotRunning();
    return toSeconds(difference(os::counterTicks(), startTicks_));
}

double QvTimer::getLastTime() const { return toSeconds(difference(stopTicks_, startTicks_)); }

double QvTimer::getTotalTime() const { return toSeconds(totalTicks_); }

bool QvTimer::isRunning() const { return running_; }

double QvTimer::now() { return processTimer().getTime(); }

long long QvTimer::currentTimestamp() { return os::counterTicks(); }

// Unsigned, so that no pair of time stamps overflows.
long long QvTimer::difference(long long a, long long b) {
    return static_cast<long long>(static_cast<unsigned long long>(a) - static_cast<unsigned long long>(b));
}

long long QvTimer::sum(long long a, long long b) {
    return static_cast<long long>(static_cast<unsigned long long>(a) + static_cast<unsigned long long>(b));
}

double QvTimer::toSeconds(long long ticks) { return static_cast<double>(ticks) / frequency(); }

double QvTimer::getPrecision() { return 1.0 / frequency(); }

}  // namespace Qv
