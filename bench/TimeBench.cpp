// Time stamps and used cycles compared with the system's clocks, which are the limit.

#include <QvPlatform/time/CycleTime.h>
#include <QvPlatform/time/QvTimer.h>
#include <QvPlatform/time/Timer.h>

#include "BenchSupport.h"

#include <ctime>

namespace {

template <typename Ours>
void compareWithClock(benchmark::State& state, const bench::Row& row, clockid_t clock, Ours ours) {
    timespec time{};
    bench::compare(state, row, 100'000, ours, [&](std::size_t) {
        clock_gettime(clock, &time);
        benchmark::DoNotOptimize(time);
    });
}

// Telling the time in seconds also takes a conversion and a division.
template <typename Ours>
void benchClock(benchmark::State& state, const char* operation, double targetRatio, Ours ours) {
    compareWithClock(state, {operation, "limit, clock_gettime", 1, {.ratio = targetRatio}}, CLOCK_MONOTONIC,
                     ours);
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

// The clock of the process's processor time is a system call.
void benchCycles(benchmark::State& state) {
    compareWithClock(state, {"CycleTime::getCurrentValue", "limit, clock_gettime", 1, {.ratio = 1.2}},
                     CLOCK_PROCESS_CPUTIME_ID,
                     [](std::size_t) { benchmark::DoNotOptimize(QvPlatform::CycleTime::getCurrentValue()); });
}
BENCHMARK(benchCycles)->Iterations(30);

}  // namespace
