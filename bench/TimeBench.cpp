// Time stamps compared with the system's clock.

#include <QvPlatform/time/QvTimer.h>
#include <QvPlatform/time/Timer.h>

#include "BenchSupport.h"

#include <ctime>

namespace {

// Telling the time in seconds also takes a conversion and a division.
template <typename Ours>
void benchClock(benchmark::State& state, const char* operation, double targetRatio, Ours ours) {
    timespec time{};
    bench::compare(state, {operation, "clock_gettime", 1, {.ratio = targetRatio}}, 100'000, ours,
                   [&](std::size_t) {
                       clock_gettime(CLOCK_MONOTONIC, &time);
                       benchmark::DoNotOptimize(time);
                   });
}
BENCHMARK_CAPTURE(benchClock, timestamp, "QvTimer::currentTimestamp", 1.1, [](std::size_t) {
    benchmark::DoNotOptimize(Qv::QvTimer::currentTimestamp());
})->Iterations(60);
BENCHMARK_CAPTURE(benchClock, update, "Timer::Time::update", 1.1,
                  [time = QvSim::Timer::Time()](std::size_t) mutable { time.update(); })
    ->Iterations(60);
BENCHMARK_CAPTURE(benchClock, elapsed, "Timer::elapsed", 1.6,
                  [timer = QvSim::Timer::Timer(true)](std::size_t) {
                      benchmark::DoNotOptimize(timer.elapsed());
                  })
    ->Iterations(60);

}  // namespace
