#include "LogLines.h"

#include <QvPlatform/diagnostics/Log.h>

#include "BenchSupport.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <thread>
#include <vector>

namespace bench {
namespace {

constexpr const char* kTime = "Thu Jan  1 00:00:00 1970";
constexpr const char* kPrefix = " - WARN: ";
constexpr std::size_t kLineLength = 24 + 9 + 100;

// Whether the line's end is one that a thread wrote, and which one.
bool isWhole(const std::string& line, std::vector<char>& seen) {
    int thread = 0;
    int number = 0;
    if (line.size() != kLineLength || line.compare(24, 9, kPrefix) != 0) return false;
    if (std::sscanf(line.c_str() + 33, "thread %d, line %d:", &thread, &number) != 2) return false;
    const std::size_t place = static_cast<std::size_t>(thread) * kLogLines + static_cast<std::size_t>(number);
    if (place >= seen.size() || seen[place] != 0) return false;
    seen[place] = 1;
    char expected[128];
    std::snprintf(expected, sizeof expected, QV_BENCH_MESSAGE, thread, number, kLogFiller);
    return line.compare(33, std::string::npos, expected) == 0;
}

}  // namespace

void logLine(int thread, int line) { Qv::LogWarn(QV_BENCH_MESSAGE, thread, line, kLogFiller); }

std::size_t formatLine(char (&buffer)[256], int thread, int line) {
    return static_cast<std::size_t>(std::snprintf(buffer, sizeof buffer, "%s - WARN: " QV_BENCH_MESSAGE "\n",
                                                  kTime, thread, line, kLogFiller));
}

void writeWhole(int file, const char* text, std::size_t length) {
    if (write(file, text, length) != static_cast<ssize_t>(length)) std::abort();
}

double timeOfLines(LineWriter writer) {
    return timePerCall(kLogLines, [=](std::size_t i) { writer(0, static_cast<int>(i)); });
}

double timeOfThreads(LineWriter writer) {
    const auto writeAll = [=](int thread) {
        for (std::size_t i = 0; i < kLogLines; ++i) writer(thread, static_cast<int>(i));
    };
    const double elapsed = timePerCall(1, [=](std::size_t) {
        std::vector<std::thread> threads;
        for (int thread = 0; thread < kLogThreads; ++thread) threads.emplace_back(writeAll, thread);
        for (std::thread& thread : threads) thread.join();
    });
    return elapsed / static_cast<double>(kLogThreads * kLogLines);
}

std::size_t countTornLines(const std::string& text) {
    std::vector<char> seen(kLogThreads * kLogLines);
    std::size_t torn = 0;
    std::size_t lines = 0;
    for (std::size_t start = 0; start < text.size(); ++lines) {
        const auto end = std::min(text.find('\n', start), text.size());
        if (!isWhole(text.substr(start, end - start), seen)) ++torn;
        start = end + 1;
    }
    return torn + (lines < seen.size() ? seen.size() - lines : 0);
}

}  // namespace bench
