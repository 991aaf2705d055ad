// Time stamps compared with the system's clock.

#include <QvPlatform/time/QvTimer.h>
#include <QvPlatform/time/Timer.h>

#include "BenchSupport.h"

#include <ctime>

namespace {

template <typename Ours>
void benchClock(benchmark::State& state, const char* operation, Ours ours) {
    timespec time{};
    bench::compare(state, {operation, "clock_gettime", 1, {.ratio = 1.1}}, 100'000, ours, [&](std::size_t) {
        clock_gettime(CLOCK_MONOTONIC, &time);
        benchmark::DoNotOptimize(time);
    });
}
BENCHMARK_CAPTURE(benchClock, timestamp, "QvTimer::currentTimestamp", [](std::size_t) {
    benchmark::DoNotOptimize(Qv::QvTimer::currentTimestamp());
})->Iterations(60);
BENCHMARK_CAPTURE(benchClock, update, "Timer::Time::update",
                  [time = QvSim::Timer::Time()](std::size_t) mutable { time.update(); })
    ->Iterations(60);

}  // namespace
