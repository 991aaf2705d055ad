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

/// The plugins that are being loaded, each a dependency of the one before it; see `rules::load`.
class DryRun::Chain {
public:
    using Answer = std::optional<Plugin*>;

    explicit Chain(DryRun& dryRun) : dryRun_(dryRun) {}

    // The manager tries a failed plugin again for each dependent; this tries it again only if the outcome may
    // differ.
    Answer begin(Plugin* plugin) {
        constexpr Plugin* kNone = nullptr;
        if (!plugin || plugin->isLoaded) return plugin;
        if (plugin->failure && dryRun_.stillHolds(*plugin->failure)) return kNone;
        const std::size_t index = dryRun_.indexOf(plugin);
        const Entry& entry = dryRun_.entries_[index];
        if (!entry.isUsable()) {
            plugin->failure = Failure{};
            return kNone;
        }
        const auto& info = dryRun_.infoOf(index);
        links_.push_back({plugin, &entry, &info, rules::foldedName(info.name), nullptr});
        plugin->isLoading = true;
        ++dryRun_.loadingNames_[links_.back().foldedName];
        return std::nullopt;
    }
    auto* innermost() { return links_.empty() ? nullptr : &links_.back(); }

    bool isLoadingName(const std::string& name) const {
        const auto loading = dryRun_.loadingNames_.find(rules::foldedName(name));
        return loading != dryRun_.loadingNames_.end() && loading->second > 0;
    }
    static bool isLoadingFile(const Plugin* plugin) { return plugin->isLoading; }
    Plugin* find(const std::string&) const { return pluginAt(edge().target); }
    Answer loadedFor(const QvPluginSystem::QvDependency&) const {
        return pluginAt(dryRun_.loadedFor(edge()));
    }
    static bool isUnloading(const Plugin*) { return false; }
    const QvPluginSystem::QvPluginInfo& infoOf(const Plugin* plugin) const {
        return dryRun_.infoOf(dryRun_.indexOf(plugin));
    }

    void meet(const Plugin* plugin) { links_.back().plugin->references.push_back(dryRun_.indexOf(plugin)); }
    void refuse(rules::Unmet reason) {
        Plugin& plugin = *links_.back().plugin;
        Entry& entry = dryRun_.entries_[dryRun_.indexOf(&plugin)];
        if (entry.problem.empty()) {
            entry.problem = rules::messageFor(reason, *links_.back().dependency());
            entry.dependencies[plugin.references.size()].problem = entry.problem;
        }
        plugin.failure = failureFor(reason);
        plugin.references.clear();
        end();
    }
    Plugin* complete() {
        Plugin* const plugin = links_.back().plugin;
        plugin->failure.reset();
        end();
        dryRun_.accept(dryRun_.indexOf(plugin));
        return plugin;
    }

private:
    struct Link {
        Plugin* plugin;
        const Entry* entry;
        const QvPluginSystem::QvPluginInfo* info;
        std::string foldedName;
        Plugin* file;

        const QvPluginSystem::QvDependency* dependency() const {
            const auto& all = info->dependencies;
            return plugin->references.size() < all.size() ? &all[plugin->references.size()] : nullptr;
        }
    };

    const Entry::Edge& edge() const {
        const Link& link = links_.back();
        return link.entry->dependencies[link.plugin->references.size()];
    }
    Plugin* pluginAt(std::size_t index) const {
        return index == Entry::kNone ? nullptr : &dryRun_.plugins_[index];
    }

    Failure failureFor(rules::Unmet reason) const {
        const Plugin* const file = pluginAt(edge().target);
        const bool isFileLoading = file && file->isLoading;
        const std::string name = rules::foldedName(edge().name);
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

    void end() {
        --dryRun_.loadingNames_[links_.back().foldedName];
        links_.back().plugin->isLoading = false;
        links_.pop_back();
    }

    DryRun& dryRun_;
    std::vector<Link> links_;
};

DryRun::DryRun(std::vector<Entry>& entries) : entries_(entries), plugins_(entries.size()) {
    for (Entry& entry : entries_) entry.isInitialized = false;
}

void DryRun::loadEverything() {
    for (std::size_t index = 0; index < entries_.size(); ++index) {
        if (!entries_[index].isListed) continue;
        Chain chain(*this);
        if (rules::load(chain, chain.begin(&plugins_[index]))) plugins_[index].isRequested = true;
    }
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

/// A plugin that is being unloaded.
class DryRun::Unloading {
public:
    Unloading(DryRun& dryRun, std::size_t index) : dryRun_(&dryRun), index_(index) {}

    Plugin* releaseOne() {
        Plugin& plugin = dryRun_->plugins_[index_];
        if (released_ == plugin.references.size()) {
            std::erase(dryRun_->loadedByName_[rules::foldedName(dryRun_->infoOf(index_).name)], index_);
            return nullptr;
        }
        Plugin& dependency = dryRun_->plugins_[plugin.references[released_++]];
        --dependency.dependents;
        return &dependency;
    }

private:
    DryRun* dryRun_;
    std::size_t index_;
    std::size_t released_ = 0;
};

// A name always means the first plugin of that name, even if that one stays and another could be unloaded.
void DryRun::unload(const std::string& name, std::vector<std::size_t>& order) {
    const std::vector<std::size_t>& namesakes = loadedByName_[rules::foldedName(name)];
    const auto found = std::find_if(namesakes.begin(), namesakes.end(),
                                    [&](std::size_t index) { return infoOf(index).name == name; });
    if (found == namesakes.end()) return;
    std::vector<Unloading> unloading;
    const auto unloadIfUnused = [&](Plugin* plugin) {
        if (plugin->dependents != 0 || plugin->isRequested || !plugin->isLoaded) return;
        plugin->isLoaded = false;
        order.push_back(indexOf(plugin));
        unloading.emplace_back(*this, indexOf(plugin));
    };
    plugins_[*found].isRequested = false;
    unloadIfUnused(&plugins_[*found]);
    rules::releaseReferences(unloading, unloadIfUnused);
}

}  // namespace qvp
