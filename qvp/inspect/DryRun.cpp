// Applies the rules of the plugin system to descriptors, as `PluginLoader` and `PluginUnloader` apply them to
// libraries. Assumes that entry points succeed and no listener refuses. Order: `loadEverything`, then
// `loadedFor` and `loaded` if needed, then `unloadEverything` once, which leaves `loaded` as it is.
//
// Between calls nothing is being loaded, and a plugin's `dependents` is the number of references that loaded
// plugins hold on it. A plugin that fails holds no references; plugins that were loaded for it stay loaded.
//
// To avoid repeated work, a failure is remembered and the plugin is not tried again. If the failure depends
// on the plugins of some name, it counts only until another one of that name is loaded. If a plugin of the
// same name but another file was being loaded, it does not count at all.

#include "inspect/DryRun.h"

#include "QvPluginSystem/rules/PluginRules.h"

#include <algorithm>

namespace qvp {

namespace rules = QvPluginSystem::rules;

/// Answers what `rules::resolve` asks about one dependency.
class DryRun::Resolution {
public:
    Resolution(DryRun& dryRun, std::size_t dependent, const Entry::Edge& needed)
        : edge(needed), dryRun_(dryRun), dependent_(dependent) {}

    bool isLoadingName(const std::string& name) const {
        const auto loading = dryRun_.loadingNames_.find(rules::foldedName(name));
        return loading != dryRun_.loadingNames_.end() && loading->second > 0;
    }
    bool isLoadingFile(Plugin* plugin) const { return plugin->isLoading; }
    Plugin* find(const std::string&) const { return pluginAt(edge.target); }
    Plugin* loadedFor(const QvPluginSystem::QvDependency&) const { return pluginAt(dryRun_.loadedFor(edge)); }
    Plugin* load(Plugin* plugin) const { return dryRun_.load(indexOf(plugin)) ? plugin : nullptr; }
    static bool isUnloading(const Plugin*) { return false; }
    const QvPluginSystem::QvPluginInfo& infoOf(const Plugin* plugin) const {
        return dryRun_.infoOf(indexOf(plugin));
    }
    Plugin* refuse(rules::Unmet reason) {
        Entry& entry = dryRun_.entries_[dependent_];
        if (entry.problem.empty()) {
            entry.problem = rules::messageFor(reason, {edge.name, edge.version});
            entry.dependencies[static_cast<std::size_t>(&edge - entry.dependencies.data())].problem =
                entry.problem;
        }
        failure = failureFor(reason);
        return nullptr;
    }

    std::size_t indexOf(const Plugin* plugin) const {
        return static_cast<std::size_t>(plugin - dryRun_.plugins_.data());
    }

    const Entry::Edge& edge;
    std::optional<Failure> failure;

private:
    Plugin* pluginAt(std::size_t index) const {
        return index == Entry::kNone ? nullptr : &dryRun_.plugins_[index];
    }

    Failure failureFor(rules::Unmet reason) const {
        const Plugin* const file = pluginAt(edge.target);
        const bool isFileLoading = file && file->isLoading;
        const std::string name = rules::foldedName(edge.name);
        switch (reason) {
            case rules::Unmet::nameIsLoading:
            case rules::Unmet::fileIsLoading:
                return {isFileLoading, {}, 0};
            case rules::Unmet::notInitialized:
                return *file->failure;
            case rules::Unmet::notFound:
            case rules::Unmet::notCompatible:
                break;
        }
        return {true, file ? std::string() : name, dryRun_.namesakesOf(name)};
    }

    DryRun& dryRun_;
    std::size_t dependent_;
};

DryRun::DryRun(std::vector<Entry>& entries) : entries_(entries), plugins_(entries.size()) {
    for (Entry& entry : entries_) entry.isInitialized = false;
}

void DryRun::loadEverything() {
    for (std::size_t index = 0; index < entries_.size(); ++index) {
        if (entries_[index].isListed && load(index)) plugins_[index].isRequested = true;
    }
}

// The manager tries a failed plugin again for each dependent; this tries it again only if the outcome may
// differ.
bool DryRun::load(std::size_t index) {
    Plugin& plugin = plugins_[index];
    if (plugin.isLoaded) return true;
    if (plugin.failure && stillHolds(*plugin.failure)) return false;
    plugin.failure = loadNew(index);
    if (!plugin.failure) accept(index);
    return plugin.isLoaded;
}

std::optional<DryRun::Failure> DryRun::loadNew(std::size_t index) {
    const Entry& entry = entries_[index];
    if (!entry.isUsable()) return Failure{};
    const std::string name = rules::foldedName(infoOf(index).name);
    plugins_[index].isLoading = true;
    ++loadingNames_[name];
    std::optional<Failure> failure;
    for (const Entry::Edge& edge : entry.dependencies) {
        failure = resolve(index, edge);
        if (failure) break;
    }
    --loadingNames_[name];
    plugins_[index].isLoading = false;
    if (failure) plugins_[index].references.clear();
    return failure;
}

std::optional<DryRun::Failure> DryRun::resolve(std::size_t index, const Entry::Edge& edge) {
    Resolution resolution(*this, index, edge);
    if (const Plugin* const found = rules::resolve(resolution, {edge.name, edge.version}))
        plugins_[index].references.push_back(resolution.indexOf(found));
    return resolution.failure;
}

void DryRun::accept(std::size_t index) {
    Plugin& plugin = plugins_[index];
    Entry& entry = entries_[index];
    plugin.isLoaded = true;
    entry.isInitialized = true;
    entry.problem.clear();
    for (const std::size_t dependency : plugin.references) ++plugins_[dependency].dependents;
    loadedByName_[rules::foldedName(infoOf(index).name)].push_back(index);
    loaded_.push_back(index);
}

bool DryRun::stillHolds(const Failure& failure) const {
    if (!failure.isLasting) return false;
    return failure.foldedName.empty() || namesakesOf(failure.foldedName) == failure.namesakes;
}

std::size_t DryRun::namesakesOf(const std::string& foldedName) const {
    const auto found = loadedByName_.find(foldedName);
    return found == loadedByName_.end() ? 0 : found->second.size();
}

std::size_t DryRun::loadedFor(const Entry::Edge& edge) const {
    const auto found = loadedByName_.find(rules::foldedName(edge.name));
    if (found == loadedByName_.end() || found->second.empty()) return Entry::kNone;
    return *rules::pickForDependency(
        found->second,
        {edge.name, edge.version}, [&](std::size_t index) -> const auto& { return infoOf(index); });
}

std::vector<std::size_t> DryRun::unloadEverything() {
    std::vector<std::size_t> order;
    for (const std::size_t index : loaded_) unload(infoOf(index).name, order);
    return order;
}

// A name always means the first plugin of that name, even if that one stays and another could be unloaded.
void DryRun::unload(const std::string& name, std::vector<std::size_t>& order) {
    const std::vector<std::size_t>& namesakes = loadedByName_[rules::foldedName(name)];
    const auto found = std::find_if(namesakes.begin(), namesakes.end(),
                                    [&](std::size_t index) { return infoOf(index).name == name; });
    if (found == namesakes.end()) return;
    const std::size_t index = *found;
    plugins_[index].isRequested = false;
    if (plugins_[index].dependents == 0) release(index, order);
}

void DryRun::release(std::size_t index, std::vector<std::size_t>& order) {
    Plugin& plugin = plugins_[index];
    order.push_back(index);
    plugin.isLoaded = false;
    auto next = plugin.references.begin();
    const auto releaseOne = [&]() -> Plugin* {
        if (next == plugin.references.end()) return nullptr;
        Plugin& dependency = plugins_[*next++];
        --dependency.dependents;
        return &dependency;
    };
    rules::releaseReferences(releaseOne, [&](Plugin* dependency) {
        const bool isUnused = dependency->dependents == 0 && !dependency->isRequested;
        if (isUnused && dependency->isLoaded)
            release(static_cast<std::size_t>(dependency - plugins_.data()), order);
    });
    std::erase(loadedByName_[rules::foldedName(infoOf(index).name)], index);
}

}  // namespace qvp
