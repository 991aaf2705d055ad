// Questions about the dependency graph and look-ups, asked of 500 and of 2,000 loaded plugins in a ladder
// of diamonds, where the number of paths doubles with each rung. What they cost for one plugin, or one
// look-up, must not depend on the number. A linear cost may still grow with memory that leaves the caches;
// a quadratic one would be four times as high.

#include <QvPlatform/QvPluginSystem/QvPluginManager.h>

#include "BenchSupport.h"
#include "PluginFolder.h"

#include <map>
#include <string>

namespace {

using QvPluginSystem::QvPluginInfo;
using QvPluginSystem::QvPluginManager;

constexpr std::size_t kFew = 500;
constexpr std::size_t kMany = 2000;
constexpr std::size_t kRepetitions = 5;
constexpr bench::Target kTarget{.ratio = 2.0};

using Costs = std::map<std::string, double>;  // by operation

// The least time of one call that has `count` results.
template <typename Function>
double leastPer(std::size_t count, Function function) {
    bench::LeastTime time;
    for (std::size_t i = 0; i < kRepetitions; ++i) time.add(bench::timePerCall(1, function));
    return time.value() / static_cast<double>(count);
}

Costs measureCosts(const bench::PluginFolder& folder, std::size_t count) {
    auto* manager = QvPluginManager::instance();
    QvPluginInfo* bottom = manager->getPluginForName(folder.name(0));
    QvPluginInfo* top = manager->getPluginForName(folder.name((count - 1) / 3 * 3));
    Qv::QvArray<std::string> names;
    for (std::size_t number = 0; number < count; ++number) names.push_back(folder.name(number));
    const Qv::QvArray<std::string> files = folder.files(0, count);

    const auto keep = [](auto&& result) { benchmark::DoNotOptimize(result); };
    Costs costs;
    costs["getQueue, per plugin"] = leastPer(count, [&](std::size_t) { keep(manager->getQueue()); });
    costs["getDependencyPlugins, per plugin"] =
        leastPer(count, [&](std::size_t) { keep(manager->getDependencyPlugins(top)); });
    costs["getProvidedPlugins, per plugin"] =
        leastPer(count, [&](std::size_t) { keep(manager->getProvidedPlugins(bottom)); });
    costs["isLoaded"] = leastPer(count, [&](std::size_t) {
        for (const std::string& file : files) keep(manager->isLoaded(file));
    });
    costs["getPluginForName"] = leastPer(count, [&](std::size_t) {
        for (const std::string& name : names) keep(manager->getPluginForName(name));
    });
    return costs;
}

bool answersAreComplete(const bench::PluginFolder& folder, std::size_t count) {
    auto* manager = QvPluginManager::instance();
    return manager->getQueue().size() == count && manager->isLoaded(folder.file(count - 1)) &&
           manager->getProvidedPlugins(manager->getPluginForName(folder.name(0))).size() == count;
}

Qv::QvArray<std::string> namesFromTheTop(const bench::PluginFolder& folder) {
    Qv::QvArray<std::string> names;
    for (std::size_t number = kMany; number-- > kFew;) names.push_back(folder.name(number));
    return names;
}

void benchGraph(benchmark::State& state) {
    bench::silenceLog();
    auto* manager = QvPluginManager::instance();
    const bench::PluginFolder folder(bench::Layout::LadderOfDiamonds, kMany);
    manager->load(folder.files(0, kFew));

    std::map<std::string, bench::Sides> sides;
    bool complete = true;
    for ([[maybe_unused]] auto turn : state) {
        for (const auto& [operation, cost] : measureCosts(folder, kFew)) sides[operation].peer.add(cost);
        manager->load(folder.files(kFew, kMany));
        complete = complete && answersAreComplete(folder, kMany);
        for (const auto& [operation, cost] : measureCosts(folder, kMany)) sides[operation].ours.add(cost);
        manager->unload(namesFromTheTop(folder));
        complete = complete && answersAreComplete(folder, kFew);
    }
    manager->unloadAll();
    if (!complete) return state.SkipWithError("an answer misses plugins");
    for (const auto& [operation, pair] : sides)
        bench::report(state, {operation, "of 500", kMany, kTarget}, pair);
}
BENCHMARK(benchGraph)->Iterations(4);

}  // namespace
