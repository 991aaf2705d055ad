// Computed anew for each call, from the registry and the public descriptors. Dependencies are followed by
// exact name, to the first plugin of that name; whether a plugin depends on the target directly is decided by
// `satisfies`. The loader's own links (`neededPlugins`) are not used, so the result follows what a client has
// written into a descriptor. Nothing is changed or cached.
//
// Both walks are depth-first and visit a plugin once, so they end even if the descriptors form a cycle; a
// plugin whose answer is pending then counts as no dependent. `queueOf` is a post-order, so without a cycle
// all dependents of a plugin come after it: `dependentsOf` looks only there.

#include "QvPluginSystem/PluginGraph.h"

#include "QvPluginSystem/rules/PluginRules.h"
#include "base/DepthFirst.h"

#include <algorithm>
#include <optional>
#include <unordered_map>
#include <unordered_set>

namespace QvPluginSystem {
namespace {

// The plugin that the i-th dependency names, null if it is not loaded; nothing past the last dependency.
std::optional<QvPluginInfo*> dependencyOf(const PluginRegistry& registry, const QvPluginInfo& info,
                                          std::size_t i) {
    if (i == info.dependencies.size()) return std::nullopt;
    return registry.findByName(info.dependencies[i].name);
}

class Collector {
public:
    explicit Collector(const PluginRegistry& registry) : registry_(registry) {}

    void collect(QvPluginInfo* root) {
        base::visitDepthFirst(
            root, [this](const QvPluginInfo* info) { return info && visited_.insert(info).second; },
            [this](const QvPluginInfo* info, std::size_t i) { return dependencyOf(registry_, *info, i); },
            [this](QvPluginInfo* info) { collected_.push_back(info); });
    }

    Qv::QvArray<QvPluginInfo*> take() { return std::move(collected_); }

private:
    const PluginRegistry& registry_;
    std::unordered_set<const QvPluginInfo*> visited_;
    Qv::QvArray<QvPluginInfo*> collected_;
};

// Whether a plugin depends on the target; computed once for each plugin.
class DependentFinder {
public:
    DependentFinder(const PluginRegistry& registry, const QvPluginInfo& target)
        : registry_(registry), target_(target) {}

    bool dependsOnTarget(QvPluginInfo* plugin) {
        base::visitDepthFirst(
            plugin, [this](const QvPluginInfo* each) { return each && begin(*each); },
            [this](const QvPluginInfo* each, std::size_t i) { return nextUnlessAnswered(*each, i); },
            [](const QvPluginInfo*) {});
        return answers_.at(plugin);
    }

private:
    // Whether what the plugin depends on is still of interest.
    bool begin(const QvPluginInfo& plugin) {
        const auto [answer, isNew] = answers_.try_emplace(&plugin, false);
        if (isNew) answer->second = dependsDirectly(plugin);
        return isNew && !answer->second;
    }

    std::optional<QvPluginInfo*> nextUnlessAnswered(const QvPluginInfo& plugin, std::size_t i) {
        const QvPluginInfo* const previous =
            i > 0 ? dependencyOf(registry_, plugin, i - 1).value_or(nullptr) : nullptr;
        if (previous && answers_.at(previous)) {
            answers_[&plugin] = true;
            return std::nullopt;
        }
        return dependencyOf(registry_, plugin, i);
    }

    bool dependsDirectly(const QvPluginInfo& plugin) const {
        return std::any_of(
            plugin.dependencies.begin(), plugin.dependencies.end(),
            [&](const QvDependency& dependency) { return rules::satisfies(target_, dependency); });
    }

    const PluginRegistry& registry_;
    const QvPluginInfo& target_;
    std::unordered_map<const QvPluginInfo*, bool> answers_;
};

}  // namespace

Qv::QvArray<QvPluginInfo*> queueOf(const PluginRegistry& registry) {
    Collector collector(registry);
    for (QvPluginInfo* info : registry.plugins()) collector.collect(info);
    return collector.take();
}

Qv::QvArray<QvPluginInfo*> dependenciesOf(const PluginRegistry& registry, QvPluginInfo* info) {
    Collector collector(registry);
    collector.collect(info);
    return collector.take();
}

Qv::QvArray<QvPluginInfo*> dependentsOf(const PluginRegistry& registry, QvPluginInfo* info) {
    if (!info) return {};
    Qv::QvArray<QvPluginInfo*> result{info};
    const Qv::QvArray<QvPluginInfo*> queue = queueOf(registry);
    const auto self = std::find(queue.begin(), queue.end(), info);
    if (self == queue.end()) return result;
    DependentFinder finder(registry, *info);
    std::copy_if(self + 1, queue.end(), std::back_inserter(result),
                 [&](QvPluginInfo* plugin) { return finder.dependsOnTarget(plugin); });
    return result;
}

}  // namespace QvPluginSystem
