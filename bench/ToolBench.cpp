// The companion tool over many plugins, some of which crash, hang or lack a library, compared with starting
// as many processes; and the memory that it takes for the list of them.

#include "BenchSupport.h"
#include "PluginFolder.h"

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kEach = 5;

/// Waits for a child process; its peak memory in bytes.
long waitFor(pid_t child) {
    int status = 0;
    rusage usage{};
    bench::check(child != 0 && wait4(child, &status, 0, &usage) > 0);
    return usage.ru_maxrss * 1024;
}

/// Processes that do nothing, as many at a time as there are processors.
void startProcesses(std::size_t count) {
    const std::size_t atATime = std::max(1U, std::thread::hardware_concurrency());
    for (std::size_t started = 0; started < count + atATime; ++started) {
        if (started < count) bench::startProgram({QV_BENCH_TOOL, "--version"}, "/dev/null");
        if (started >= atATime) waitFor(-1);
    }
}

std::size_t occurrences(const std::string& text, const std::string& part) {
    std::size_t count = 0;
    for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
    return count;
}

bool namesEachCause(const std::string& file) {
    std::ifstream stream(file);
    const std::string report{std::istreambuf_iterator<char>(stream), {}};
    return occurrences(report, "SIGSEGV") == kEach && occurrences(report, "within 0.5 s") == kEach &&
           occurrences(report, "needs libabsent.so") == kEach;
}

// A plugin that hangs costs the time limit, which is half a second here: five, two at a time, 1.25 seconds.
void benchCheck(benchmark::State& state) {
    const auto count = static_cast<std::size_t>(state.range(0));
    const bench::PluginFolder folder(bench::Layout::Independent, count - 3 * kEach);
    const fs::path directory = fs::path(folder.file(0)).parent_path();
    for (std::size_t i = 0; i < kEach; ++i) {
        for (const char* bad : {QV_BENCH_CRASHING, QV_BENCH_HANGING, QV_BENCH_LACKING})
            fs::copy_file(bad, directory / (fs::path(bad).stem().string() + std::to_string(i) + ".qvp"));
    }
    const std::string report = (directory / "report.txt").string();
    bench::Sides sides;
    for ([[maybe_unused]] auto turn : state) {
        sides.ours.add(bench::timePerCall(1, [&](std::size_t) {
            waitFor(bench::startProgram(
                {QV_BENCH_TOOL, "--dir", directory.string(), "--timeout", "0.5", "check"}, report));
        }));
        sides.peer.add(bench::timePerCall(1, [&](std::size_t) { startProcesses(count); }));
        if (!namesEachCause(report)) return state.SkipWithError("a cause is missing in the report");
    }
    bench::report(state, {"qvp check, with 15 bad ones", "starting as many", count, {.ratio = 4}}, sides);
}
BENCHMARK(benchCheck)->Arg(500)->Iterations(3);

void benchMemory(benchmark::State& state) {
    const bench::PluginFolder many(bench::Layout::Independent, 2000);
    const bench::PluginFolder few(bench::Layout::Independent, 500);
    const auto peak = [](const bench::PluginFolder& folder) {
        const std::string directory = fs::path(folder.file(0)).parent_path().string();
        return static_cast<double>(
            waitFor(bench::startProgram({QV_BENCH_TOOL, "--dir", directory, "list"}, "/dev/null")));
    };
    bench::Sides sides;
    for ([[maybe_unused]] auto turn : state) {
        sides.ours.add(peak(many));
        sides.peer.add(peak(few));
    }
    bench::report(state, {"memory of qvp list", "of 500", 2000, {.ratio = 2}}, sides);
}
BENCHMARK(benchMemory)->Iterations(1);

}  // namespace
