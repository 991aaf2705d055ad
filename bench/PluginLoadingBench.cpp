// Loading and unloading many plugins with the manager, compared with the same calls by hand: the same files,
// in the order in which the manager initialized and uninitialized them, which are the limit. Run one size in
// one process.

#include <QvPlatform/QvPluginSystem/QvPluginManager.h>
#include <QvPlatform/diagnostics/Log.h>

#include "BenchSupport.h"
#include "PluginFolder.h"
#include "PluginsByHand.h"
#include "StandardErrorFile.h"

#include <algorithm>
#include <string>
#include <unordered_map>
#include <vector>

namespace {

using bench::Layout;
using QvPluginSystem::QvPluginInfo;
using QvPluginSystem::QvPluginManager;

constexpr bench::Target kIndependentTarget{.ratio = 1.15};
constexpr bench::Target kLayeredTarget{.ratio = 1.2};
constexpr bench::Target kUnloadTarget{.ratio = 1.15};

// The orders in which the manager starts and stops plugins.
struct Orders {
    std::vector<std::string> started;
    std::vector<std::size_t> stopped;  // as positions in `started`
};

class OrderRecorder : public QvPluginSystem::QvPluginManagerListener {
public:
    OrderRecorder() { QvPluginManager::addListener(this); }
    OrderRecorder(const OrderRecorder&) = delete;
    OrderRecorder& operator=(const OrderRecorder&) = delete;
    ~OrderRecorder() override { QvPluginManager::removeListener(this); }

    bool onAboutToUninitialize(const QvPluginInfo& info) override {
        stopped.push_back(info.path);
        return true;
    }

    std::vector<std::string> stopped;
};

Orders recordOrders(const Qv::QvArray<std::string>& files) {
    auto* manager = QvPluginManager::instance();
    Orders orders;
    OrderRecorder recorder;
    manager->load(files);
    std::unordered_map<std::string, std::size_t> positions;
    for (const QvPluginInfo* plugin : manager->getPlugins()) {
        positions[plugin->path] = orders.started.size();
        orders.started.push_back(plugin->path);
    }
    manager->unloadAll();
    for (const std::string& file : recorder.stopped) orders.stopped.push_back(positions.at(file));
    return orders;
}

struct Loading {
    bench::Sides load;
    bench::Sides quietLoad;  // with a log handler that drops every message
    bench::Sides loadBesideChecks;
    bench::Sides unload;
};

bool measureManager(bench::LeastTime& load, bench::LeastTime& unload, const Qv::QvArray<std::string>& files) {
    auto* manager = QvPluginManager::instance();
    const auto perPlugin = static_cast<double>(files.size());
    load.add(bench::timePerCall(1, [&](std::size_t) { manager->load(files); }) / perPlugin);
    const bool complete = manager->getPlugins().size() == files.size();
    unload.add(bench::timePerCall(1, [&](std::size_t) { manager->unloadAll(); }) / perPlugin);
    return complete && manager->getPlugins().empty();
}

bool measureQuietManager(Loading& loading, const Qv::QvArray<std::string>& files) {
    const Qv::LogHandler previous = bench::silenceLog();
    bench::LeastTime ignored;
    const bool complete = measureManager(loading.quietLoad.ours, ignored, files);
    Qv::LogSetHandler(previous);
    return complete;
}

bool measureByHand(bench::PluginsByHand plugins, const Orders& orders, bench::LeastTime& load,
                   bench::LeastTime& unload) {
    bool complete = false;
    const auto perPlugin = static_cast<double>(orders.started.size());
    load.add(bench::timePerCall(1, [&](std::size_t) { complete = plugins.load(orders.started); }) /
             perPlugin);
    if (!complete) return false;
    unload.add(bench::timePerCall(1, [&](std::size_t) { plugins.unload(orders.stopped); }) / perPlugin);
    return true;
}

bool measureTurn(Loading& loading, const Qv::QvArray<std::string>& files, const Orders& orders) {
    const auto& dirs = QvPluginManager::instance()->getPluginSearchDirs();
    const bench::PluginsByHand checking({dirs.begin(), dirs.end()});
    bench::LeastTime ignored;  // the least of twice as many times would be smaller
    return measureManager(loading.load.ours, loading.unload.ours, files) &&
           measureByHand(bench::PluginsByHand(), orders, loading.load.peer, loading.unload.peer) &&
           measureQuietManager(loading, files) &&
           measureByHand(checking, orders, loading.loadBesideChecks.peer, ignored);
}

// The log is at its default level and writes to a file.
void benchLoading(benchmark::State& state, const std::string& name, Layout layout) {
    const bench::StandardErrorFile log;
    const auto count = static_cast<std::size_t>(state.range(0));
    const bench::PluginFolder folder(layout, count);
    // Dependents come first, so that the manager has to find the order.
    Qv::QvArray<std::string> files = folder.files(0, count);
    std::reverse(files.begin(), files.end());

    const Orders orders = recordOrders(files);
    Loading loading;
    bool complete = orders.started.size() == count && orders.stopped.size() == count;
    for ([[maybe_unused]] auto turn : state) complete = complete && measureTurn(loading, files, orders);
    if (!complete) return state.SkipWithError("not every plugin was loaded and unloaded");
    // The loader's own lists leave the caches then, and a ratio varies by a third; see their growth.
    const bool isJudged = count <= 2000;
    const bench::Target unloadTarget = isJudged ? kUnloadTarget : bench::Target{};
    bench::Target target = layout == Layout::Independent ? kIndependentTarget : kLayeredTarget;
    if (!isJudged) target = {};
    bench::report(state, {"load, " + name, "limit, by hand", count, target, 1}, loading.load);
    bench::report(state, {"unloadAll, " + name, "limit, by hand", count, unloadTarget, 1}, loading.unload);
    loading.quietLoad.peer = loading.load.peer;
    bench::report(state, {"load without log, " + name, "limit, by hand", count, target}, loading.quietLoad);
    loading.loadBesideChecks.ours = loading.load.ours;
    bench::report(state, {"load, " + name, "by hand, same checks", count, {}}, loading.loadBesideChecks);
}

// Few turns of many plugins, many turns of few. A turn of 10,000 takes a minute.
[[maybe_unused]] const bool registered = [] {
    for (const std::int64_t count : {100, 500, 2000, 10'000}) {
        const std::int64_t turns = count == 10'000 ? 1 : std::max<std::int64_t>(10, 10'000 / count);
        for (const auto& [name, layout] :
             {std::pair{"independent", Layout::Independent}, {"layered", Layout::Layered}})
            benchmark::RegisterBenchmark(name, benchLoading, name, layout)->Arg(count)->Iterations(turns);
    }
    return true;
}();

}  // namespace
