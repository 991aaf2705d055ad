// One line of 100 characters to the standard error stream, which is a file meanwhile, and to the log file,
// compared with one snprintf and two writes of the same line and with spdlog, which flushes each
// line.

#include <QvPlatform/diagnostics/LogFile.h>

#include "BenchSupport.h"
#include "LogLines.h"
#include "StandardErrorFile.h"

#include <fcntl.h>
#include <spdlog/logger.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/sinks/stdout_sinks.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>

namespace {

namespace fs = std::filesystem;

int plainFile = -1;
std::unique_ptr<spdlog::logger> peerLog;

void writeLine(int thread, int line) {
    char text[256];
    const std::size_t length = bench::formatLine(text, thread, line);
    bench::writeWhole(STDERR_FILENO, text, length);
    bench::writeWhole(plainFile, text, length);
}

void logLineByPeer(int thread, int line) {
    peerLog->warn("thread {}, line {:06d}: {}", thread, line, bench::kLogFiller);
}

std::unique_ptr<spdlog::logger> openPeerLog(const std::string& file) {
    const spdlog::sinks_init_list sinks = {std::make_shared<spdlog::sinks::stderr_sink_mt>(),
                                           std::make_shared<spdlog::sinks::basic_file_sink_mt>(file)};
    auto log = std::make_unique<spdlog::logger>("bench", sinks);
    log->set_pattern("%a %b %d %H:%M:%S %Y - WARN: %v");
    log->flush_on(spdlog::level::trace);
    return log;
}

// The standard error stream and the file of each side, in a folder of their own.
class LogFiles {
public:
    LogFiles() : folder_(fs::temp_directory_path() / ("qv-bench-log-" + std::to_string(getpid()))) {
        fs::create_directory(folder_);
        plainFile = open(path("plain").c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
        peerLog = openPeerLog(path("peer"));
        Qv::setLogFile(path("ours"));
        if (plainFile < 0 || !fs::exists(Qv::getLogFile())) throw std::runtime_error("no log file");
    }
    LogFiles(const LogFiles&) = delete;
    LogFiles& operator=(const LogFiles&) = delete;
    ~LogFiles() {
        Qv::setLogFile("");
        peerLog.reset();
        close(plainFile);
        fs::remove_all(folder_);
    }

    void clear() {
        standardError_.clear();
        for (const std::string& file : {path("plain"), path("peer"), Qv::getLogFile()})
            fs::resize_file(file, 0);
    }
    std::size_t countTornLines() const {
        std::ifstream file(Qv::getLogFile(), std::ios::binary);
        return bench::countTornLines(standardError_.text()) +
               bench::countTornLines(std::string(std::istreambuf_iterator<char>(file), {}));
    }

private:
    std::string path(const char* name) const { return (folder_ / name).string(); }

    bench::StandardErrorFile standardError_;
    fs::path folder_;
};

void benchLine(benchmark::State& state, double (*timeOf)(bench::LineWriter), std::size_t threads,
               double targetRatio) {
    LogFiles files;
    bench::Sides limit;
    bench::Sides peer;
    std::size_t torn = 0;
    const auto measure = [&](bench::LeastTime& time, bench::LineWriter writer) {
        files.clear();
        time.add(timeOf(writer));
        if (threads > 1 && writer == bench::logLine) torn += files.countTornLines();
    };
    for ([[maybe_unused]] auto turn : state) {
        measure(limit.ours, bench::logLine);
        measure(limit.peer, writeLine);
        measure(peer.ours, bench::logLine);
        measure(peer.peer, logLineByPeer);
    }
    const std::string operation = "line to stderr and file, threads";
    bench::report(state, {operation, "limit, snprintf, 2 writes", threads, {.ratio = targetRatio}}, limit);
    bench::report(state, {operation, "spdlog", threads, {.ratio = 1}}, peer);
    if (threads > 1) {
        const std::size_t lines = 2 * bench::kLogTurns * threads * bench::kLogLines;
        bench::reportCount(state, "torn lines in stderr and file", 2 * lines, torn);
    }
}
BENCHMARK_CAPTURE(benchLine, one, bench::timeOfLines, 1, 1.2)->Iterations(60);
BENCHMARK_CAPTURE(benchLine, four, bench::timeOfThreads, bench::kLogThreads, 1.6)
    ->Iterations(bench::kLogTurns);

}  // namespace
