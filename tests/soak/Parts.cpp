#include <QvPlatform/QvPluginSystem/QvPluginManager.h>
#include <QvPlatform/diagnostics/Log.h>
#include <QvPlatform/diagnostics/LogFile.h>
#include <QvPlatform/filesystem/Directory.h>
#include <QvPlatform/threads/ThreadPool.h>

#include "soak/Soak.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <thread>
#include <vector>

namespace {

using soak::require;

// All that the demonstration has: plugins that need each other, and some that are refused.
void loadAndUnload(long count) {
    auto* const manager = QvPluginSystem::QvPluginManager::instance();
    const QvPlatform::Directory programs(QvPlatform::Directory::kExecutableDirectory);
    manager->addPluginSearchDir(programs.directory("simulation-plugins").toUniversalPath());
    Qv::LogSetLevel(Qv::kLogLevelError);
    for (long i = 0; i < count; ++i) {
        manager->loadAllQvp();
        require(manager->getQueue().size() == 6, "the plugins that fit each other are loaded");
        manager->unloadAll();
        require(manager->getPlugins().empty() && manager->getAllObjects().empty(), "nothing is left");
        soak::showLife();
    }
    Qv::LogSetLevel(Qv::kLogLevelDebug);
}

// The part of the log that is in the file, which a second name keeps when the log file is purged.
class LogPiece {
public:
    LogPiece() { std::filesystem::create_hard_link(Qv::getLogFile(), kName); }
    LogPiece(const LogPiece&) = delete;
    LogPiece& operator=(const LogPiece&) = delete;
    ~LogPiece() { std::filesystem::remove(kName); }

    long lines() const {
        std::ifstream file(kName, std::ios::binary);
        std::vector<char> bytes(1 << 20U);
        long lines = 0;
        while (file.read(bytes.data(), static_cast<std::streamsize>(bytes.size())) || file.gcount() != 0)
            lines += std::count(bytes.begin(), bytes.begin() + file.gcount(), '\n');
        return lines;
    }

private:
    static constexpr const char* kName = "piece";
};

constexpr long kHeaderLines = 2;

// Ends the log file, and begins another one unless `name` is empty; returns the lines of the old one.
long rotate(const std::string& name) {
    const LogPiece piece;
    Qv::setLogFile(name);
    return piece.lines() - kHeaderLines;
}

void logFromThreads(long count) {
    constexpr int kThreads = 8;
    constexpr long kPerFile = 1'000'000;
    std::atomic<long> written{0};
    std::atomic<int> working{kThreads};
    Qv::LogSetExpiration(-1);  // files that are not open are old
    Qv::setLogFile(soak::workFolder() + "log0");
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([&, thread] {
            for (long i = thread; i < count; i += kThreads) {
                Qv::LogInfo("thread %d logs line %ld\n", thread, i);
                ++written;
            }
            --working;
        });
    }
    long found = 0;
    for (long file = 1; working != 0;) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        if (written < file * kPerFile) continue;
        found += rotate(soak::workFolder() + "log" + std::to_string(file++ % 2 + 1));
        soak::showLife();
    }
    for (std::thread& thread : threads) thread.join();
    found += rotate(soak::workFolder() + "last");
    Qv::setLogFile("");
    for (const auto& entry : std::filesystem::directory_iterator(soak::workFolder()))
        std::filesystem::remove(entry);
    require(found == count, "each line is in one of the files");
}

struct Unit : QvPlatform::ThreadPool::WorkUnit {
    void run() override { runs.fetch_add(1, std::memory_order_relaxed); }
    std::atomic<long> runs{0};
};

void runBatches(long count) {
    constexpr std::size_t kMost = 8;
    const auto pool = QvPlatform::ThreadPool::instance(0);
    std::vector<Unit> units(kMost);
    long expected = 0;
    for (long batch = 0; batch < count; ++batch) {
        std::vector<QvPlatform::ThreadPool::WorkUnit*> chosen;
        for (std::size_t i = 0; i <= static_cast<std::size_t>(batch) % kMost; ++i)
            chosen.push_back(&units[i]);
        pool->execute(chosen);
        expected += static_cast<long>(chosen.size());
        if (batch % 1024 == 0) soak::showLife();
    }
    long runs = 0;
    for (const Unit& unit : units) runs += unit.runs;
    require(runs == expected, "each unit ran once in each batch");
}

}  // namespace

const soak::Part soak::kPlugins = {"plugins", "times loaded and unloaded", 100'000, loadAndUnload};
const soak::Part soak::kLog = {"log", "lines of eight threads", 100'000'000, logFromThreads};
const soak::Part soak::kThreadPool = {"threadPool", "batches", 10'000'000, runBatches};
