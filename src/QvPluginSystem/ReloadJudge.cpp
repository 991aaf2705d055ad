#include "QvPluginSystem/ReloadJudge.h"

#include "QvPluginSystem/rules/PluginRules.h"

#include <algorithm>

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

bool ReloadJudge::accepts() {
    const PluginSearchPath::Request request(state_.searchPath);
    const std::size_t count = plugins_.size();  // judging adds others
    for (std::size_t i = 0; i < count; ++i) {
        if (!judge(plugins_[i])) return false;
    }
    return true;
}

// The first reason is the cause of all further ones.
void ReloadJudge::reject(const std::string& plugin, const std::string& reason) {
    if (!reason_.empty()) return;
    rejected_ = plugin;
    reason_ = reason;
}

bool ReloadJudge::judge(Plugin& plugin) {
    if (plugin.isJudged) return true;
    path_.push_back(&plugin);
    plugin.isJudged = resolveDependencies(plugin);
    path_.pop_back();
    return plugin.isJudged;
}

// A plugin that stays loaded as it is is not judged.
ReloadJudge::Plugin* ReloadJudge::plannedFor(LoadedPlugin& loaded) {
    Plugin*& planned = byLoaded_[&loaded];
    if (!planned) planned = add(loaded.file, loaded, &loaded, true);
    return planned;
}

/// Answers what `rules::resolve` asks about one dependency of a plugin.
class ReloadJudge::Resolution {
public:
    using File = std::shared_ptr<const PluginSearchPath::Found>;

    Resolution(ReloadJudge& judge, const Plugin& plugin, const QvDependency& dependency)
        : judge_(judge), plugin_(plugin), dependency_(dependency) {}

    bool isLoadingName(const std::string& name) const {
        return anyOnPath([&](const Plugin& plugin) { return rules::isSameName(plugin.info.name, name); });
    }
    bool isLoadingFile(const File& file) const {
        const PluginPathKey key(file->file.path);
        return anyOnPath([&](const Plugin& plugin) { return PluginPathKey(plugin.file.path) == key; });
    }
    File find(const std::string& name) const { return judge_.state_.searchPath.find(name); }

    Plugin* loadedFor(const QvDependency& dependency) const {
        const auto* const namesakes = judge_.state_.registry.findNamesakes(dependency.name);
        if (!namesakes) return nullptr;
        LoadedPlugin* const picked = *rules::pickForDependency(
            *namesakes, dependency,
            [&](LoadedPlugin* loaded) -> const QvPluginInfo& { return judge_.plannedFor(*loaded)->info; });
        return accepted(judge_.plannedFor(*picked));
    }

    Plugin* load(const File& file) const {
        if (LoadedPlugin* loaded = judge_.state_.registry.findByFile(file->file))
            return accepted(judge_.plannedFor(*loaded));
        if (Plugin* known = judge_.newFiles_.find(file->file)) return accepted(known);
        const QvPluginInfo info = judge_.loader_.readInfo(file->path);
        if (info.name.empty()) return nullptr;
        Plugin* const added = judge_.add(file->file, info, nullptr, false);
        judge_.newFiles_.add(added->file, added);
        return accepted(added);
    }

    static bool isUnloading(const Plugin* plugin) { return plugin->loaded && plugin->loaded->isUnloading; }
    static const QvPluginInfo& infoOf(const Plugin* plugin) { return plugin->info; }
    Plugin* refuse(rules::Unmet reason) const {
        judge_.reject(plugin_.info.name, rules::messageFor(reason, dependency_));
        return nullptr;
    }

private:
    template <typename Fits>
    bool anyOnPath(Fits fits) const {
        return std::any_of(judge_.path_.begin(), judge_.path_.end(),
                           [&](const Plugin* plugin) { return fits(*plugin); });
    }
    Plugin* accepted(Plugin* plugin) const { return judge_.judge(*plugin) ? plugin : nullptr; }

    ReloadJudge& judge_;
    const Plugin& plugin_;
    const QvDependency& dependency_;
};

bool ReloadJudge::resolveDependencies(const Plugin& plugin) {
    for (const QvDependency& dependency : plugin.info.dependencies) {
        Resolution resolution(*this, plugin, dependency);
        if (!rules::resolve(resolution, dependency)) return false;
    }
    return true;
}

}  // namespace QvPluginSystem
