// Reloading a plugin whose file has changed, compared with what a host does without a reloader: unloading the
// plugin and its dependents, copying the new version into place, and loading; and with nothing but the
// system's calls. Polling without changes.

#include <QvPlatform/QvPluginSystem/QvPluginManager.h>
#include <QvPlatform/QvPluginSystem/QvPluginReloader.h>

#include "BenchSupport.h"
#include "PluginFolder.h"
#include "PluginsByHand.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

namespace {

using QvPluginSystem::QvPluginManager;
using QvPluginSystem::QvPluginReloader;
using Outcome = QvPluginSystem::QvReloadResult::Outcome;

// The first plugin and its dependents, loaded by hand from copies.
class CopiesByHand {
public:
    CopiesByHand(const bench::PluginFolder& folder, std::size_t dependents) : original_(folder.file(0)) {
        for (std::size_t i = 0; i <= dependents; ++i) {
            files_.push_back(copyOf(folder.file(i)));
            order_.push_back(dependents - i);
        }
        bench::check(plugins_.load(files_));
    }
    CopiesByHand(const CopiesByHand&) = delete;
    CopiesByHand& operator=(const CopiesByHand&) = delete;
    ~CopiesByHand() {
        plugins_.unload(order_);
        for (const std::string& file : files_) std::filesystem::remove(file);
    }

    void reload() {
        const std::string old = std::exchange(files_.front(), copyOf(original_));
        plugins_.unload(order_);
        bench::check(plugins_.load(files_));
        std::filesystem::remove(old);
    }

private:
    std::string copyOf(const std::string& file) {
        const std::filesystem::path path(file);
        const std::filesystem::path copy =
            path.parent_path() / ("." + path.filename().string() + ".hand-" + std::to_string(++copies_));
        std::filesystem::copy_file(path, copy);
        return copy.string();
    }

    std::string original_;
    std::vector<std::string> files_;
    std::vector<std::size_t> order_;
    std::size_t copies_ = 0;
    bench::PluginsByHand plugins_;
};

void change(const std::string& file) { std::ofstream(file, std::ios::app) << ' '; }

double timeReload(const bench::PluginFolder& folder, std::size_t dependents) {
    auto* manager = QvPluginManager::instance();
    QvPluginReloader reloader;
    manager->load(folder.files(0, dependents + 1));
    change(folder.file(0));
    Outcome outcome = Outcome::refused;
    const double time =
        bench::timePerCall(1, [&](std::size_t) { outcome = reloader.reload(folder.name(0)).outcome; });
    bench::check(outcome == Outcome::reloaded);
    manager->unloadAll();
    return time;
}

// What a host would do without a reloader, if the new version is built elsewhere.
double timeUnloadAndLoad(const bench::PluginFolder& folder, std::size_t dependents) {
    auto* manager = QvPluginManager::instance();
    manager->load(folder.files(0, dependents + 1));
    const std::string newVersion = folder.file(0) + ".new";
    std::filesystem::copy_file(folder.file(0), newVersion);
    const double time = bench::timePerCall(1, [&](std::size_t) {
        manager->unloadAll();
        std::filesystem::remove(folder.file(0));
        std::filesystem::copy_file(newVersion, folder.file(0));
        manager->load(folder.files(0, dependents + 1));
    });
    std::filesystem::remove(newVersion);
    bench::check(manager->getPlugins().size() == dependents + 1);
    manager->unloadAll();
    return time;
}

void benchReload(benchmark::State& state) {
    const auto dependents = static_cast<std::size_t>(state.range(0));
    const Qv::LogHandler previous = bench::silenceLog();
    const bench::PluginFolder folder(bench::Layout::Star, dependents + 1);
    // The generated plugin is stripped and tiny; one in development has debug information.
    const auto padding = static_cast<std::size_t>(state.range(1));
    std::ofstream(folder.file(0), std::ios::app) << std::string(padding, ' ');
    bench::Sides byManager;
    bench::Sides byHand;
    for ([[maybe_unused]] auto turn : state) {
        byManager.ours.add(timeReload(folder, dependents));
        byManager.peer.add(timeUnloadAndLoad(folder, dependents));
        CopiesByHand copies(folder, dependents);
        byHand.peer.add(bench::timePerCall(1, [&](std::size_t) { copies.reload(); }));
    }
    byHand.ours = byManager.ours;
    Qv::LogSetHandler(previous);
    if (padding != 0) {
        bench::report(state, {"reload, file of 1 MB", "unload, copy, load", padding, {}}, byManager);
        return bench::report(state, {"reload, file of 1 MB", "limit, by hand", padding, {.ratio = 1.3}},
                             byHand);
    }
    bench::report(state, {"reload, dependents", "unload, copy, load", dependents, {}, dependents + 1},
                  byManager);
    bench::report(state, {"reload, dependents", "limit, by hand", dependents, {}}, byHand);
}
constexpr std::int64_t kMegabyte = 1'000'000;
BENCHMARK(benchReload)->Args({0, kMegabyte})->Iterations(100);
BENCHMARK(benchReload)->Args({0, 0})->Iterations(200);
BENCHMARK(benchReload)->Args({100, 0})->Iterations(20);
BENCHMARK(benchReload)->Args({1000, 0})->Iterations(3);

void benchPoll(benchmark::State& state) {
    const bench::PluginFolder folder(bench::Layout::Independent, 100);
    QvPluginReloader reloader;
    auto* manager = QvPluginManager::instance();
    manager->load(folder.files(0, 100));
    bench::check(reloader.watch());
    bench::compare(
        state, {"poll without changes", "limit, clock", 100, {.nanoseconds = 1'000}}, 100'000,
        [&](std::size_t) { bench::check(reloader.poll().empty()); },
        [](std::size_t) { benchmark::DoNotOptimize(std::chrono::steady_clock::now()); });
    manager->unloadAll();
}
BENCHMARK(benchPoll)->Iterations(20);

}  // namespace
