#pragma once

#include <QvPlatform/QvPluginSystem/QvPluginInfo.h>
#include <QvPlatform/core/QvArray.h>

#include "QvPluginSystem/PluginFile.h"

#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

namespace QvPluginSystem {

/// A plugin that was initialized, and what the manager remembers about it beyond its descriptor.
struct LoadedPlugin {
    LoadedPlugin(std::unique_ptr<QvPluginInfo> descriptor, PluginFile libraryFile)
        : info(std::move(descriptor)), file(std::move(libraryFile)), name(info->name), libraryPath(info->path) {}

    /// Whether somebody needs it to stay.
    bool isNeeded() const { return info->dependentCount > 0 || pins > 0; }

    std::unique_ptr<QvPluginInfo> info;
    PluginFile file;
    // The descriptor is handed out for writing; these are what the indexes were built from.
    std::string name;
    std::string libraryPath;
    Qv::QvArray<LoadedPlugin*> dependencies;
    int pins = 0;  ///< plugins under way that will depend on it
    bool isUnloading = false;
};

/// Whether the plugin is what the dependency asks for: its name, letter case aside, in a version that is
/// neither below the needed one nor without compatibility to it.
bool satisfies(const QvPluginInfo& plugin, const QvDependency& dependency);

/// The loaded plugins in the order in which they were added, with indexes beside the list.
class PluginRegistry {
public:
    PluginRegistry() = default;
    PluginRegistry(const PluginRegistry&) = delete;
    PluginRegistry& operator=(const PluginRegistry&) = delete;

    const Qv::QvArray<QvPluginInfo*>& plugins() const { return plugins_; }

    /// Each is null when there is none; of several plugins of one name, the first.
    LoadedPlugin* findByName(const std::string& name) const;
    LoadedPlugin* findByFile(const PluginFile& file) const { return byFile_.find(file); }
    LoadedPlugin* findByPath(const std::string& path) const { return byFile_.find(path); }
    /// A plugin of the dependency's name, one that satisfies it if there is such a one.
    LoadedPlugin* findForDependency(const QvDependency& dependency) const;

    LoadedPlugin& add(std::unique_ptr<LoadedPlugin> plugin);
    /// Deletes the plugin and its descriptor.
    void remove(LoadedPlugin& plugin);

private:
    using NameIndex = std::unordered_map<std::string, std::vector<LoadedPlugin*>>;

    static void removeFrom(NameIndex& index, const std::string& name, const LoadedPlugin* plugin);

    Qv::QvArray<QvPluginInfo*> plugins_;
    std::unordered_map<const QvPluginInfo*, std::unique_ptr<LoadedPlugin>> owned_;
    NameIndex byName_;
    NameIndex byFoldedName_;
    PluginFileIndex<LoadedPlugin> byFile_;
};

}  // namespace QvPluginSystem
