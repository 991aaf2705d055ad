// One line of 100 characters to the standard error stream, which is a file meanwhile, beside one snprintf
// and one write of the same line; and a line below the threshold, which must cost next to nothing.

#include <QvPlatform/diagnostics/Log.h>

#include "BareLog.h"
#include "BenchSupport.h"
#include "StandardErrorFile.h"

#include <unistd.h>

#include <cstdio>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr int kThreads = 4;
constexpr std::size_t kTurns = 20;
constexpr std::size_t kLines = 5000;  // of each thread, in one turn
constexpr const char* kTime = "Thu Jan  1 00:00:00 1970";
constexpr const char* kPrefix = " - WARN: ";
constexpr std::size_t kLineLength = 24 + 9 + 100;
#define QV_BENCH_MESSAGE "thread %d, line %06d: %s"
constexpr const char* kFiller =
    "a body has left the region in which the solver keeps its contacts for a while";

void logLine(int thread, int line) { Qv::LogWarn(QV_BENCH_MESSAGE, thread, line, kFiller); }

void writeLine(int thread, int line) {
    char text[256];
    const int length =
        std::snprintf(text, sizeof text, "%s - WARN: " QV_BENCH_MESSAGE "\n", kTime, thread, line, kFiller);
    if (write(STDERR_FILENO, text, static_cast<std::size_t>(length)) != length) std::abort();
}

double timeOfThreads(void (*writer)(int, int)) {
    return bench::timePerCall(1,
                              [&](std::size_t) {
                                  std::vector<std::thread> threads;
                                  for (int thread = 0; thread < kThreads; ++thread)
                                      threads.emplace_back([=] {
                                          for (std::size_t i = 0; i < kLines; ++i)
                                              writer(thread, static_cast<int>(i));
                                      });
                                  for (std::thread& thread : threads) thread.join();
                              }) /
           static_cast<double>(kThreads * kLines);
}

// Whether the line's end is one that a thread wrote, and which one.
bool isWhole(const std::string& line, std::vector<char>& seen) {
    int thread = 0;
    int number = 0;
    if (line.size() != kLineLength || line.compare(24, 9, kPrefix) != 0) return false;
    if (std::sscanf(line.c_str() + 33, "thread %d, line %d:", &thread, &number) != 2) return false;
    const std::size_t place = static_cast<std::size_t>(thread) * kLines + static_cast<std::size_t>(number);
    if (place >= seen.size() || seen[place] != 0) return false;
    seen[place] = 1;
    char expected[128];
    std::snprintf(expected, sizeof expected, QV_BENCH_MESSAGE, thread, number, kFiller);
    return line.compare(33, std::string::npos, expected) == 0;
}

std::size_t countTornLines(const std::string& text) {
    std::vector<char> seen(kThreads * kLines);
    std::size_t torn = 0;
    std::size_t lines = 0;
    for (std::size_t start = 0; start < text.size(); ++lines) {
        const auto end = std::min(text.find('\n', start), text.size());
        if (!isWhole(text.substr(start, end - start), seen)) ++torn;
        start = end + 1;
    }
    return torn + (lines < seen.size() ? seen.size() - lines : 0);
}

void benchLine(benchmark::State& state) {
    bench::StandardErrorFile file;
    bench::Sides sides;
    for ([[maybe_unused]] auto turn : state) {
        file.clear();
        sides.ours.add(bench::timePerCall(kLines, [](std::size_t i) { logLine(0, static_cast<int>(i)); }));
        file.clear();
        sides.peer.add(bench::timePerCall(kLines, [](std::size_t i) { writeLine(0, static_cast<int>(i)); }));
    }
    bench::report(state, {"log line of 100 characters", "snprintf, write", 1, {.ratio = 1.2}}, sides);
}
BENCHMARK(benchLine)->Iterations(60);

void benchLineOfFourThreads(benchmark::State& state) {
    bench::StandardErrorFile file;
    bench::Sides sides;
    std::size_t torn = 0;
    for ([[maybe_unused]] auto turn : state) {
        file.clear();
        sides.peer.add(timeOfThreads(writeLine));
        file.clear();
        sides.ours.add(timeOfThreads(logLine));
        torn += countTornLines(file.text());
    }
    bench::report(state, {"log line, four threads", "snprintf, write", kThreads, {.ratio = 1.6}}, sides);
    bench::reportCount(state, "torn lines of four threads", kTurns * kThreads * kLines, torn);
}
BENCHMARK(benchLineOfFourThreads)->Iterations(kTurns);

void benchSuppressedLine(benchmark::State& state) {
    bench::compare(
        state, {"line below the threshold", "bare variadic call", 1, {.nanoseconds = 7}}, 100'000,
        [](std::size_t i) { Qv::LogTrace(QV_BENCH_MESSAGE, 0, static_cast<int>(i), kFiller); },
        [](std::size_t i) { bench::bareLog(QV_BENCH_MESSAGE, 0, static_cast<int>(i), kFiller); });
}
BENCHMARK(benchSuppressedLine)->Iterations(50);

}  // namespace
