#pragma once

#include <QvPlatform/QvPluginSystem/QvPluginInfo.h>
#include <QvPlatform/core/QvArray.h>

#include "QvPluginSystem/PluginFile.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace QvPluginSystem {

/// A plugin on its way or loaded: the descriptor that clients see, and what the manager remembers beside it.
struct LoadedPlugin : QvPluginInfo {
    explicit LoadedPlugin(const std::string& libraryFile, const PluginFile& libraryIdentity)
        : QvPluginInfo(libraryFile), requestedPath(libraryFile), file(libraryIdentity) {}

    /// Whether it must stay loaded.
    bool isNeeded() const { return dependentCount > 0 || pins > 0; }

    // The descriptor is handed out for writing; these stay as they were.
    std::string indexedName;
    std::string requestedPath;
    PluginFile file;
    Qv::QvArray<LoadedPlugin*> neededPlugins;
    int pins = 0;  ///< plugins under way that will depend on it
    bool isUnloading = false;
    bool runsCopy = false;  ///< of the file, which may be replaced by another
};

/// The loaded plugins in the order in which they were added, with indexes beside the list.
class PluginRegistry {
public:
    PluginRegistry() = default;
    PluginRegistry(const PluginRegistry&) = delete;
    PluginRegistry& operator=(const PluginRegistry&) = delete;
    ~PluginRegistry();

    const Qv::QvArray<QvPluginInfo*>& plugins() const { return plugins_; }

    /// A number that changes when a plugin is added or removed.
    std::size_t generation() const { return generation_; }

    /// Each returns null if there is none; of several plugins with the same name, the first.
    LoadedPlugin* findByName(const std::string& name) const;
    LoadedPlugin* findByFile(const PluginFile& file);
    LoadedPlugin* findByPath(const std::string& path);
    /// A plugin with the dependency's name; one that satisfies it, if there is one.
    LoadedPlugin* findForDependency(const QvDependency& dependency) const;
    /// The plugins of this name, ignoring case; null if there are none.
    const std::vector<LoadedPlugin*>* findNamesakes(std::string_view name) const;

    /// Takes ownership of the plugin, whose name must not change afterwards.
    LoadedPlugin& add(std::unique_ptr<LoadedPlugin> plugin);
    /// Deletes the plugin.
    void remove(LoadedPlugin& plugin);
    /// Sorts the list: first these plugins, in this order, each after those that it needs.
    void arrange(const std::vector<LoadedPlugin*>& first);

private:
    struct FoldedHash {
        std::size_t operator()(std::string_view name) const;
    };
    struct FoldedEqual {
        bool operator()(std::string_view a, std::string_view b) const;
    };

    void takeOut(const LoadedPlugin& plugin);

    // Plugins whose names differ in letter case only stand together.
    using NameIndex =
        std::unordered_map<std::string_view, std::vector<LoadedPlugin*>, FoldedHash, FoldedEqual>;

    Qv::QvArray<QvPluginInfo*> plugins_;  // each is a LoadedPlugin, and owned
    NameIndex byName_;
    PluginFileIndex<LoadedPlugin> byFile_;
    std::size_t generation_ = 0;
};

}  // namespace QvPluginSystem
