#pragma once

#include <cstddef>
#include <string>

/// The lines that are logged and that the other sides write, and the look at what has arrived of them.
namespace bench {

constexpr int kLogThreads = 4;
constexpr std::size_t kLogLines = 5000;  // of each thread, in one turn
constexpr std::size_t kLogTurns = 40;
constexpr const char* kLogFiller =
    "a body has left the region in which the solver keeps its contacts for a while";
#define QV_BENCH_MESSAGE "thread %d, line %06d: %s"

/// Writes one line; gets the thread's number and the line's.
using LineWriter = void (*)(int thread, int line);

void logLine(int thread, int line);

/// The same line in one snprintf; `buffer` is large enough.
std::size_t formatLine(char (&buffer)[256], int thread, int line);
void writeWhole(int file, const char* text, std::size_t length);

/// The time of one line in nanoseconds.
double timeOfLines(LineWriter writer);
double timeOfThreads(LineWriter writer);

/// Lines of `timeOfThreads` that are missing or not as they were written.
std::size_t countTornLines(const std::string& text);

}  // namespace bench
