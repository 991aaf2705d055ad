// `update` compares what the manager has loaded with what it had at the last look, so the host may load and
// unload plugins as it likes. A changed file is reloaded if its plugin is loaded; else it is new, or the
// plugin was lost, and it is loaded.

#include "QvPluginSystem/ReloadPoll.h"

#include <QvPlatform/filesystem/Directory.h>

#include "QvPluginSystem/ReloadTransaction.h"
#include "os/Clock.h"

#include <algorithm>
#include <unordered_map>

namespace QvPluginSystem {
namespace {

constexpr std::int64_t kLooksPerSecond = 100;

std::int64_t millisecondsOf(std::int64_t ticks) {
    const std::int64_t frequency = os::counterFrequency();
    return ticks / frequency * 1'000 + ticks % frequency * 1'000 / frequency;
}

using NamesByPath = std::map<std::string, std::string>;

// Numbered sets that can be united.
class UnitedSets {
public:
    std::size_t add() {
        parents_.push_back(parents_.size());
        return parents_.size() - 1;
    }
    std::size_t find(std::size_t set) {
        while (parents_[set] != set) set = parents_[set] = parents_[parents_[set]];
        return set;
    }
    void unite(std::size_t one, std::size_t other) { parents_[find(one)] = find(other); }

private:
    std::vector<std::size_t> parents_;
};

// The changed plugins, those together that need each other or are needed by the same plugin.
std::vector<NamesByPath> groupsOf(const PluginRegistry& registry, const std::set<std::string>& changedFiles) {
    UnitedSets sets;
    std::unordered_map<const LoadedPlugin*, std::size_t> setOf;  // of changed plugins and their dependents
    std::vector<const LoadedPlugin*> changed;
    for (const QvPluginInfo* info : registry.plugins()) {
        const auto* plugin = static_cast<const LoadedPlugin*>(info);
        if (changedFiles.contains(plugin->file.path)) {
            changed.push_back(plugin);
            setOf[plugin] = sets.add();
        }
        for (const LoadedPlugin* needed : plugin->neededPlugins) {
            const auto below = setOf.find(needed);
            if (below == setOf.end()) continue;
            const std::size_t set = below->second;
            sets.unite(setOf.try_emplace(plugin, set).first->second, set);
        }
    }
    std::map<std::size_t, NamesByPath> groups;
    for (const LoadedPlugin* plugin : changed)
        groups[sets.find(setOf.at(plugin))].emplace(plugin->file.path, plugin->indexedName);
    std::vector<NamesByPath> list;
    list.reserve(groups.size());
    for (auto& [set, group] : groups) list.push_back(std::move(group));
    return list;
}

}  // namespace

bool ReloadPoll::watch(NewFiles newFiles, std::string* error) {
    isWatching_ = true;
    newFiles_ = newFiles;
    update();
    const std::string problem = watch_.problem();
    if (error && !problem.empty()) *error = problem;
    return problem.empty();
}

void ReloadPoll::update() {
    Qv::QvArray<std::string> directories = state_.searchPath.effective();
    std::vector<std::string> folders;
    if (newFiles_ == NewFiles::load) {
        for (const std::string& directory : directories)
            folders.push_back(QvPlatform::Directory(directory).toUniversalPath());
    }
    watch_.setFolders(folders);
    knownFiles_.clear();
    std::vector<ReloadWatch::Loaded> files;
    for (const QvPluginInfo* info : state_.registry.plugins()) {
        const auto* plugin = static_cast<const LoadedPlugin*>(info);
        const PluginLibraryRecord* library = state_.libraries.find(plugin->file.path);
        const bool isCopy = library && library->copy;
        files.push_back({plugin->file.path, isCopy ? library->copy->path() : std::string()});
        knownFiles_.emplace(plugin->indexedName, plugin->file.path);
        lost_.erase(plugin->file.path);
    }
    for (const std::string& path : lost_) files.push_back({path, {}});
    watch_.setFiles(files);
    // Only now: if memory runs out before, the next look tries again.
    knownGeneration_ = state_.registry.generation();
    knownDirectories_.swap(directories);
}

bool ReloadPoll::isOutdated() const {
    const auto& directories = state_.searchPath.effective();
    return state_.registry.generation() != knownGeneration_ ||
           !std::equal(directories.begin(), directories.end(), knownDirectories_.begin(),
                       knownDirectories_.end());
}

Qv::QvArray<QvReloadResult> ReloadPoll::poll() {
    if (!isWatching_) return {};
    const std::int64_t ticks = os::counterTicks();
    if (ticks < nextLook_ || state_.isBusy()) return {};
    nextLook_ = ticks + os::counterFrequency() / kLooksPerSecond;
    if (isOutdated()) update();
    if (unhandled_.empty()) unhandled_ = watch_.take(millisecondsOf(ticks));
    if (unhandled_.empty()) return {};
    Qv::QvArray<QvReloadResult> results = handle(unhandled_);
    unhandled_.clear();
    return results;
}

Qv::QvArray<QvReloadResult> ReloadPoll::handle(const std::vector<std::string>& paths) {
    Qv::QvArray<QvReloadResult> results;
    Paths changed;
    Paths toLoad;
    for (const std::string& path : paths) (state_.registry.findByPath(path) ? changed : toLoad).insert(path);
    addHeld(changed);
    // What was lost with a plugin comes back with it.
    if (std::any_of(toLoad.begin(), toLoad.end(), [&](const auto& path) { return lost_.contains(path); }))
        toLoad.insert(lost_.begin(), lost_.end());
    for (const NamesByPath& group : groupsOf(state_.registry, changed)) reload(group, results);
    for (const std::string& path : toLoad) {
        if (state_.registry.findByPath(path)) continue;
        results.push_back(ReloadTransaction(manager_, live_).loadNew(path));
        if (results.back().outcome == QvReloadResult::Outcome::loaded) lost_.erase(path);
    }
    return results;
}

void ReloadPoll::reload(const NamesByPath& group, Qv::QvArray<QvReloadResult>& results) {
    Qv::QvArray<std::string> names;
    Paths paths;
    for (const auto& [path, name] : group) {
        names.push_back(name);
        paths.insert(path);
    }
    QvReloadResult result = ReloadTransaction(manager_, live_).run(names);
    if (result.outcome == QvReloadResult::Outcome::unchanged) return;
    if (!result && paths.size() > 1) held_.push_back(std::move(paths));
    for (const std::string& name : result.lost) {
        const auto known = knownFiles_.find(name);
        if (known != knownFiles_.end()) lost_.insert(known->second);
    }
    results.push_back(std::move(result));
}

void ReloadPoll::addHeld(Paths& paths) {
    std::erase_if(held_, [&](const Paths& group) {
        const auto isChanged = [&](const std::string& path) { return paths.contains(path); };
        if (std::none_of(group.begin(), group.end(), isChanged)) return false;
        paths.insert(group.begin(), group.end());
        return true;
    });
}

}  // namespace QvPluginSystem
