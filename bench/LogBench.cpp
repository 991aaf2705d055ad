// One line of 100 characters to the standard error stream, which is a file meanwhile, compared with one
// snprintf and one write of the same line; and a line below the threshold, which must cost next to nothing.

#include <QvPlatform/diagnostics/Log.h>

#include "BareLog.h"
#include "BenchSupport.h"
#include "LogLines.h"
#include "StandardErrorFile.h"

#include <unistd.h>

namespace {

void writeLine(int thread, int line) {
    char text[256];
    const std::size_t length = bench::formatLine(text, thread, line);
    bench::writeWhole(STDERR_FILENO, text, length);
}

void benchLine(benchmark::State& state) {
    bench::StandardErrorFile file;
    bench::Sides sides;
    for ([[maybe_unused]] auto turn : state) {
        file.clear();
        sides.ours.add(bench::timeOfLines(bench::logLine));
        file.clear();
        sides.peer.add(bench::timeOfLines(writeLine));
    }
    bench::report(state, {"log line of 100 characters", "limit, snprintf, write", 1, {.ratio = 1.2}}, sides);
}
BENCHMARK(benchLine)->Iterations(60);

void benchLineOfFourThreads(benchmark::State& state) {
    bench::StandardErrorFile file;
    bench::Sides sides;
    std::size_t torn = 0;
    for ([[maybe_unused]] auto turn : state) {
        file.clear();
        sides.peer.add(bench::timeOfThreads(writeLine));
        file.clear();
        sides.ours.add(bench::timeOfThreads(bench::logLine));
        torn += bench::countTornLines(file.text());
    }
    bench::report(state,
                  {"log line, four threads", "limit, snprintf, write", bench::kLogThreads, {.ratio = 1.6}},
                  sides);
    bench::reportCount(state, "torn lines of four threads",
                       bench::kLogTurns * bench::kLogThreads * bench::kLogLines, torn);
}
BENCHMARK(benchLineOfFourThreads)->Iterations(bench::kLogTurns);

void benchSuppressedLine(benchmark::State& state) {
    bench::compare(
        state, {"line below the threshold", "limit, bare variadic call", 1, {.ratio = 1.3}}, 100'000,
        [](std::size_t i) { Qv::LogTrace(QV_BENCH_MESSAGE, 0, static_cast<int>(i), bench::kLogFiller); },
        [](std::size_t i) { bench::bareLog(QV_BENCH_MESSAGE, 0, static_cast<int>(i), bench::kLogFiller); });
}
BENCHMARK(benchSuppressedLine)->Iterations(50);

}  // namespace
