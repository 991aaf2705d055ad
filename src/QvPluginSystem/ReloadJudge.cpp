#include "QvPluginSystem/ReloadJudge.h"

#include "QvPluginSystem/rules/PluginRules.h"

#include <memory>
#include <optional>
#include <unordered_set>

namespace QvPluginSystem {

ReloadJudge::ReloadJudge(PluginSystemState& state, const PluginLoader& loader,
                         const std::vector<ReloadEntry>& entries)
    : state_(state), loader_(loader) {
    for (const ReloadEntry& entry : entries) {
        const QvPluginInfo& info = entry.newCopy ? entry.newInfo : *entry.plugin;
        byLoaded_[entry.plugin] = add(entry.currentFile(), info, entry.plugin, false);
    }
}

ReloadJudge::Plugin* ReloadJudge::add(const PluginFile& file, const QvPluginInfo& info,
                                      const LoadedPlugin* loaded, bool isJudged) {
    return &plugins_.emplace_back(Plugin{file, info, loaded, isJudged});
}

// The first reason is the cause of all further ones.
void ReloadJudge::reject(const std::string& plugin, const std::string& reason) {
    if (!reason_.empty()) return;
    rejected_ = plugin;
    reason_ = reason;
}

// A plugin that stays loaded as it is is not judged.
ReloadJudge::Plugin* ReloadJudge::plannedFor(LoadedPlugin& loaded) {
    Plugin*& planned = byLoaded_[&loaded];
    if (!planned) planned = add(loaded.file, loaded, &loaded, true);
    return planned;
}

// Null if the file has no plugin.
ReloadJudge::Plugin* ReloadJudge::plannedFor(const PluginSearchPath::Found& found) {
    if (LoadedPlugin* loaded = state_.registry.findByFile(found.file)) return plannedFor(*loaded);
    if (Plugin* known = newFiles_.find(found.file)) return known;
    const QvPluginInfo info = loader_.readInfo(found.path);
    if (info.name.empty()) return nullptr;
    Plugin* const added = add(found.file, info, nullptr, false);
    newFiles_.add(added->file, added);
    return added;
}

/// The plugins that are being judged, each a dependency of the one before it; see `rules::load`.
class ReloadJudge::Chain {
public:
    using File = std::shared_ptr<const PluginSearchPath::Found>;
    using Answer = std::optional<Plugin*>;

    explicit Chain(ReloadJudge& judge) : judge_(judge) {}

    Answer begin(Plugin* plugin) {
        if (!plugin || plugin->isJudged) return plugin;
        links_.push_back({plugin, rules::foldedName(plugin->info.name), 0, nullptr});
        names_.insert(links_.back().foldedName);
        files_.add(plugin->file, plugin);
        return std::nullopt;
    }
    Answer begin(const File& file) { return begin(judge_.plannedFor(*file)); }
    auto* innermost() { return links_.empty() ? nullptr : &links_.back(); }

    bool isLoadingName(const std::string& name) const { return names_.count(rules::foldedName(name)) != 0; }
    bool isLoadingFile(const File& file) const { return files_.find(file->file) != nullptr; }
    File find(const std::string& name) const { return judge_.state_.searchPath.find(name); }
    Answer loadedFor(const QvDependency& dependency) {
        const auto* const namesakes = judge_.state_.registry.findNamesakes(dependency.name);
        if (!namesakes) return begin(nullptr);
        LoadedPlugin* const picked = *rules::pickForDependency(
            *namesakes, dependency,
            [&](LoadedPlugin* loaded) -> const QvPluginInfo& { return judge_.plannedFor(*loaded)->info; });
        return begin(judge_.plannedFor(*picked));
    }
    static bool isUnloading(const Plugin* plugin) { return plugin->loaded && plugin->loaded->isUnloading; }
    static const QvPluginInfo& infoOf(const Plugin* plugin) { return plugin->info; }

    void meet(const Plugin*) { ++links_.back().met; }
    void refuse(rules::Unmet reason) {
        const Link& link = links_.back();
        judge_.reject(link.plugin->info.name, rules::messageFor(reason, *link.dependency()));
        end();
    }
    Plugin* complete() {
        Plugin* const plugin = links_.back().plugin;
        plugin->isJudged = true;
        end();
        return plugin;
    }

private:
    struct Link {
        Plugin* plugin;
        std::string foldedName;
        std::size_t met;
        File file;

        const QvDependency* dependency() const {
            const auto& all = plugin->info.dependencies;
            return met < all.size() ? &all[met] : nullptr;
        }
    };

    void end() {
        const Link& link = links_.back();
        names_.erase(names_.find(link.foldedName));
        files_.remove(link.plugin->file);
        links_.pop_back();
    }

    ReloadJudge& judge_;
    std::vector<Link> links_;
    std::unordered_multiset<std::string> names_;  // folded
    PluginFileIndex<Plugin> files_;
};

bool ReloadJudge::accepts() {
    const PluginSearchPath::Request request(state_.searchPath);
    const std::size_t count = plugins_.size();  // judging adds others
    for (std::size_t i = 0; i < count; ++i) {
        Chain chain(*this);
        if (!rules::load(chain, chain.begin(&plugins_[i]))) return false;
    }
    return true;
}

}  // namespace QvPluginSystem
