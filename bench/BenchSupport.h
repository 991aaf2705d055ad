#pragma once

#include <QvPlatform/diagnostics/Log.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <limits>
#include <string>
#include <vector>

/// What the benchmark programs share. The two sides of a ratio take their turns alternately in one
/// process, and the least of the turns counts: what disturbs a measurement only makes it longer.
namespace bench {

/// The least of the times added, in nanoseconds.
class LeastTime {
public:
    void add(double nanoseconds) { least_ = std::min(least_, nanoseconds); }
    double value() const { return least_; }

private:
    double least_ = std::numeric_limits<double>::infinity();
};

struct Sides {
    LeastTime ours;
    LeastTime peer;
};

/// What the ratio of the sides, or our time itself, must not exceed; 0 where nothing is demanded.
struct Target {
    double ratio = 0;
    double nanoseconds = 0;
};

/// One line of the table.
struct Row {
    std::string operation;
    std::string peer;  ///< what the other side is, in a few words
    std::size_t size;
    Target target;
    /// If not 0, the times are those of so many elements, and the table shows how the cost of one grows
    /// with the size.
    std::size_t elements = 0;
};

/// Calls `function` with 0 to `count` - 1; the time of one call in nanoseconds.
template <typename Function>
double timePerCall(std::size_t count, Function&& function) {
    const auto start = std::chrono::steady_clock::now();
    for (std::size_t i = 0; i < count; ++i) function(i);
    const std::chrono::duration<double, std::nano> elapsed = std::chrono::steady_clock::now() - start;
    return elapsed.count() / static_cast<double>(count);
}

/// Puts a row into the program's output, as counters "operation;peer|field".
void report(benchmark::State& state, const Row& row, const Sides& sides);

/// The same for something that is counted and of which there may be none.
void reportCount(benchmark::State& state, const std::string& operation, std::size_t size, std::size_t count);

/// Measures two functions of a call's number in turns, as many as the benchmark has iterations, and
/// reports the row.
template <typename Ours, typename Peer>
void compare(benchmark::State& state, const Row& row, std::size_t callsPerTurn, Ours ours, Peer peer) {
    Sides sides;
    for ([[maybe_unused]] auto turn : state) {
        sides.ours.add(timePerCall(callsPerTurn, ours));
        sides.peer.add(timePerCall(callsPerTurn, peer));
    }
    report(state, row, sides);
}

/// A side of a comparison of several: it reads a text and tells how much it found or made of it, 0 when it
/// cannot tell.
using Reader = std::size_t (*)(const std::string& text);

struct Peer {
    const char* name;
    double targetRatio;
    Reader read;
};

enum class Growth { ignored, shown };

/// Measures our function and each peer in turns, all with the same text, and reports one row a peer. Fails
/// when one finds another number than ours. With `Growth::shown` the elements are as many as the size.
void compareReaders(benchmark::State& state, const std::string& operation, std::size_t callsPerTurn,
                    const std::string& text, std::size_t size, Reader ours, const std::vector<Peer>& peers,
                    Growth growth = Growth::ignored);

/// Ends the process if a measured call has failed.
void check(bool succeeded);

/// Starts a program, found as a shell finds it, that prints into a file. Returns 0 if there is no such
/// program.
int startProgram(std::vector<std::string> words, const std::string& output);

/// The same bytes in each run.
std::string randomBytes(std::size_t count);

/// Makes the log drop every message; returns the previous handler.
Qv::LogHandler silenceLog();

}  // namespace bench
