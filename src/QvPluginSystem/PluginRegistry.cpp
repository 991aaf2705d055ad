#include "QvPluginSystem/PluginRegistry.h"

#include "core/AsciiCase.h"

#include <algorithm>

namespace QvPluginSystem {
namespace {

bool equalNames(const std::string& a, const std::string& b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](char x, char y) { return Qv::detail::foldCase(x) == Qv::detail::foldCase(y); });
}

}  // namespace

bool satisfies(const QvPluginInfo& plugin, const QvDependency& dependency) {
    return equalNames(plugin.name, dependency.name) &&
           Qv::QvVersion::compare(plugin.version, dependency.version) >= 0 &&
           Qv::QvVersion::compare(plugin.compatibilityVersion, dependency.version) <= 0;
}

LoadedPlugin* PluginRegistry::findByName(const std::string& name) const {
    const auto found = byName_.find(name);
    return found == byName_.end() ? nullptr : found->second.front();
}

LoadedPlugin* PluginRegistry::findForDependency(const QvDependency& dependency) const {
    const auto found = byFoldedName_.find(Qv::detail::foldedCase(dependency.name));
    if (found == byFoldedName_.end()) return nullptr;
    const auto& namesakes = found->second;
    const auto fitting = std::find_if(namesakes.begin(), namesakes.end(), [&](const LoadedPlugin* plugin) {
        return satisfies(*plugin->info, dependency);
    });
    return fitting == namesakes.end() ? namesakes.front() : *fitting;
}

LoadedPlugin& PluginRegistry::add(std::unique_ptr<LoadedPlugin> plugin) {
    LoadedPlugin& added = *plugin;
    owned_[added.info.get()] = std::move(plugin);
    plugins_.push_back(added.info.get());
    byName_[added.name].push_back(&added);
    byFoldedName_[Qv::detail::foldedCase(added.name)].push_back(&added);
    byFile_.add(added.file, &added);
    return added;
}

void PluginRegistry::remove(LoadedPlugin& plugin) {
    byFile_.remove(plugin.file);
    removeFrom(byFoldedName_, Qv::detail::foldedCase(plugin.name), &plugin);
    removeFrom(byName_, plugin.name, &plugin);
    plugins_.erase(std::find(plugins_.begin(), plugins_.end(), plugin.info.get()));
    owned_.erase(plugin.info.get());
}

void PluginRegistry::removeFrom(NameIndex& index, const std::string& name, const LoadedPlugin* plugin) {
    const auto found = index.find(name);
    auto& namesakes = found->second;
    namesakes.erase(std::find(namesakes.begin(), namesakes.end(), plugin));
    if (namesakes.empty()) index.erase(found);
}

}  // namespace QvPluginSystem
