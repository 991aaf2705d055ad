// Applies the rules of the plugin system to descriptors, as `PluginLoader` and `PluginUnloader` apply them to
// libraries. It assumes that entry points succeed and no listener refuses. Order: `loadEverything`, then
// `loadedFor` and `loaded` if needed, then `unloadEverything` once, which leaves `loaded` as it is.
//
// Between calls nothing is under way, and a plugin's `dependents` is the number of claims that loaded plugins
// have on it. A plugin that fails keeps no claim; those that were loaded for it stay loaded.
//
// To avoid repeated work, a failure is remembered and the plugin is not tried again. If the failure depends
// on the plugins of some name, it counts only until another one of that name is loaded. If a plugin of the
// same name but another file was under way, it does not count at all.

#include "inspect/Rehearsal.h"

#include "QvPluginSystem/rules/PluginRules.h"

#include <algorithm>

namespace qvp {

namespace rules = QvPluginSystem::rules;

/// Answers what `rules::resolve` asks about one dependency.
class Rehearsal::Resolution {
public:
    Resolution(Rehearsal& rehearsal, std::size_t dependent, const Entry::Edge& needed)
        : edge(needed), rehearsal_(rehearsal), dependent_(dependent) {}

    bool isLoadingName(const std::string& name) const {
        const auto underWay = rehearsal_.namesUnderWay_.find(rules::foldedName(name));
        return underWay != rehearsal_.namesUnderWay_.end() && underWay->second > 0;
    }
    bool isLoadingFile(Plugin* plugin) const { return plugin->isUnderWay; }
    Plugin* find(const std::string&) const { return pluginAt(edge.target); }
    Plugin* loadedFor(const QvPluginSystem::QvDependency&) const {
        return pluginAt(rehearsal_.loadedFor(edge));
    }
    Plugin* load(Plugin* plugin) const { return rehearsal_.load(placeOf(plugin)) ? plugin : nullptr; }
    static bool isUnloading(const Plugin*) { return false; }
    const QvPluginSystem::QvPluginInfo& infoOf(const Plugin* plugin) const {
        return rehearsal_.infoOf(placeOf(plugin));
    }
    Plugin* refuse(rules::Unmet reason) {
        Entry& entry = rehearsal_.entries_[dependent_];
        if (entry.problem.empty()) entry.problem = rules::messageFor(reason, {edge.name, edge.version});
        failure = failureFor(reason);
        return nullptr;
    }

    std::size_t placeOf(const Plugin* plugin) const {
        return static_cast<std::size_t>(plugin - rehearsal_.plugins_.data());
    }

    const Entry::Edge& edge;
    std::optional<Failure> failure;

private:
    Plugin* pluginAt(std::size_t place) const {
        return place == Entry::kNone ? nullptr : &rehearsal_.plugins_[place];
    }

    Failure failureFor(rules::Unmet reason) const {
        const Plugin* const file = pluginAt(edge.target);
        const bool isFileUnderWay = file && file->isUnderWay;
        const std::string name = rules::foldedName(edge.name);
        switch (reason) {
            case rules::Unmet::nameIsLoading:
            case rules::Unmet::fileIsLoading:
                return {isFileUnderWay, {}, 0};
            case rules::Unmet::notInitialized:
                return *file->failure;
            case rules::Unmet::notFound:
            case rules::Unmet::notCompatible:
                break;
        }
        return {true, file ? std::string() : name, rehearsal_.namesakesOf(name)};
    }

    Rehearsal& rehearsal_;
    std::size_t dependent_;
};

Rehearsal::Rehearsal(std::vector<Entry>& entries) : entries_(entries), plugins_(entries.size()) {
    for (Entry& entry : entries_) entry.isInitialized = false;
}

void Rehearsal::loadEverything() {
    for (std::size_t place = 0; place < entries_.size(); ++place) {
        if (entries_[place].isListed && load(place)) plugins_[place].isRequested = true;
    }
}

// The manager tries a failed plugin again for each dependent; this tries it again only if the outcome may
// differ.
bool Rehearsal::load(std::size_t place) {
    Plugin& plugin = plugins_[place];
    if (plugin.isLoaded) return true;
    if (plugin.failure && stillHolds(*plugin.failure)) return false;
    plugin.failure = loadNew(place);
    if (!plugin.failure) accept(place);
    return plugin.isLoaded;
}

std::optional<Rehearsal::Failure> Rehearsal::loadNew(std::size_t place) {
    const Entry& entry = entries_[place];
    if (!entry.isUsable()) return Failure{};
    const std::string name = rules::foldedName(infoOf(place).name);
    plugins_[place].isUnderWay = true;
    ++namesUnderWay_[name];
    std::optional<Failure> failure;
    for (const Entry::Edge& edge : entry.dependencies) {
        failure = claim(place, edge);
        if (failure) break;
    }
    --namesUnderWay_[name];
    plugins_[place].isUnderWay = false;
    if (failure) plugins_[place].claims.clear();
    return failure;
}

std::optional<Rehearsal::Failure> Rehearsal::claim(std::size_t place, const Entry::Edge& edge) {
    Resolution resolution(*this, place, edge);
    if (const Plugin* const found = rules::resolve(resolution, {edge.name, edge.version}))
        plugins_[place].claims.push_back(resolution.placeOf(found));
    return resolution.failure;
}

void Rehearsal::accept(std::size_t place) {
    Plugin& plugin = plugins_[place];
    Entry& entry = entries_[place];
    plugin.isLoaded = true;
    entry.isInitialized = true;
    entry.problem.clear();
    for (const std::size_t dependency : plugin.claims) ++plugins_[dependency].dependents;
    loadedByName_[rules::foldedName(infoOf(place).name)].push_back(place);
    loaded_.push_back(place);
}

bool Rehearsal::stillHolds(const Failure& failure) const {
    if (!failure.isLasting) return false;
    return failure.foldedName.empty() || namesakesOf(failure.foldedName) == failure.namesakes;
}

std::size_t Rehearsal::namesakesOf(const std::string& foldedName) const {
    const auto found = loadedByName_.find(foldedName);
    return found == loadedByName_.end() ? 0 : found->second.size();
}

std::size_t Rehearsal::loadedFor(const Entry::Edge& edge) const {
    const auto found = loadedByName_.find(rules::foldedName(edge.name));
    if (found == loadedByName_.end() || found->second.empty()) return Entry::kNone;
    return *rules::pickForDependency(
        found->second,
        {edge.name, edge.version}, [&](std::size_t place) -> const auto& { return infoOf(place); });
}

std::vector<std::size_t> Rehearsal::unloadEverything() {
    std::vector<std::size_t> order;
    for (const std::size_t place : loaded_) unload(infoOf(place).name, order);
    return order;
}

// A name always means the first plugin of that name, even if that one stays and another could be unloaded.
void Rehearsal::unload(const std::string& name, std::vector<std::size_t>& order) {
    const std::vector<std::size_t>& namesakes = loadedByName_[rules::foldedName(name)];
    const auto found = std::find_if(namesakes.begin(), namesakes.end(),
                                    [&](std::size_t place) { return infoOf(place).name == name; });
    if (found == namesakes.end()) return;
    const std::size_t place = *found;
    plugins_[place].isRequested = false;
    if (plugins_[place].dependents == 0) release(place, order);
}

void Rehearsal::release(std::size_t place, std::vector<std::size_t>& order) {
    Plugin& plugin = plugins_[place];
    order.push_back(place);
    plugin.isLoaded = false;
    auto next = plugin.claims.begin();
    const auto takeBackOne = [&]() -> Plugin* {
        if (next == plugin.claims.end()) return nullptr;
        Plugin& dependency = plugins_[*next++];
        --dependency.dependents;
        return &dependency;
    };
    rules::releaseClaims(takeBackOne, [&](Plugin* dependency) {
        const bool isUnused = dependency->dependents == 0 && !dependency->isRequested;
        if (isUnused && dependency->isLoaded)
            release(static_cast<std::size_t>(dependency - plugins_.data()), order);
    });
    std::erase(loadedByName_[rules::foldedName(infoOf(place).name)], place);
}

}  // namespace qvp
