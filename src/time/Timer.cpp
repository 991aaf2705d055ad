#include <QvPlatform/time/Timer.h>

#include "os/Clock.h"

#include <atomic>

namespace QvSim::Timer {
namespace {

std::uint64_t currentTicks() { return static_cast<std::uint64_t>(os::counterTicks()); }

double secondsOf(std::uint64_t ticks) {
    return static_cast<double>(ticks) / static_cast<double>(os::counterFrequency());
}

}  // namespace

struct Time::Record {
    std::uint64_t ticks;
};

Time::Time() : record_(new Record{currentTicks()}) {}
Time::Time(const Time& other) : record_(new Record{*other.record_}) {}
Time& Time::operator=(const Time& other) {
    *record_ = *other.record_;
    return *this;
}
Time::~Time() = default;

void Time::update() { record_->ticks = currentTicks(); }

bool Time::operator<(const Time& other) const { return record_->ticks < other.record_->ticks; }

double Time::operator-(const Time& other) const { return secondsOf(record_->ticks - other.record_->ticks); }

Timer::Timer() = default;
Timer::Timer(bool startNow) {
    if (startNow) start();
}
Timer::Timer(const Timer& other)
    : running_(other.running_), startTime_(other.startTime_), elapsedTotal_(other.elapsedTotal_) {}
Timer& Timer::operator=(const Timer& other) = default;
Timer::~Timer() = default;

void Timer::start() {
    if (running_) return;
    running_ = true;
    startTime_.update();
}

void Timer::stop() {
    if (!running_) return;
    elapsedTotal_ = elapsed();
    running_ = false;
}

double Timer::elapsed() const { return running_ ? elapsedTotal_ + elapsedSinceLastStop() : elapsedTotal_; }

double Timer::elapsedSinceLastStop() const {
    currentTime_.update();
    return currentTime_ - startTime_;
}

void Timer::restart() {
    elapsedTotal_ = 0.0;
    startTime_ = currentTime_;
    if (running_) startTime_.update();
}

void Timer::setElapsed(const double& seconds) {
    restart();
    elapsedTotal_ = seconds;
}

double Timer::reset() {
    restart();
    return startTime_ - currentTime_;
}

bool Timer::isRunning() const { return running_; }

double getTimerResolution() {
    constinit static std::atomic<double> resolution{0.0};
    if (resolution == 0.0) resolution = os::finestTimerPeriod().value_or(0.0);
    return resolution;
}

}  // namespace QvSim::Timer
