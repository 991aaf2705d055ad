#pragma once

#include "QvPluginSystem/PluginManagerState.h"
#include "QvPluginSystem/ReloadEntry.h"
#include "QvPluginSystem/ReloadRecord.h"

#include <string>

namespace QvPluginSystem {

/// Takes single plugins of a reload down and brings them up, step by step. A plugin of the plan is pinned
/// while it is loaded.
class ReloadMoves {
public:
    ReloadMoves(PluginManagerParts& manager, LiveLibraries& live, ReloadRecord& record)
        : manager_(manager), live_(live), record_(record) {}

    void saveState(ReloadEntry& entry);
    /// False if it stays loaded.
    bool takeDown(ReloadEntry& entry);
    /// Opens the version that is staged, initializes it and gives it its state.
    bool bringUp(ReloadEntry& entry);

    /// Unloads a plugin that is not in the plan.
    void unload(LoadedPlugin& plugin);
    /// Loads a file; null with the reason.
    LoadedPlugin* load(const std::string& path, const PluginFile& file, PluginLoader::Request request,
                       std::string& message);

    bool isLoaded(const LoadedPlugin* plugin) const;
    /// Whether anything was unloaded.
    bool hasChanged() const { return hasChanged_; }

private:
    using Action = QvReloadStep::Action;

    bool unload(LoadedPlugin& plugin, std::string& message);
    void restoreState(const ReloadEntry& entry);

    PluginManagerParts& manager_;
    LiveLibraries& live_;
    ReloadRecord& record_;
    bool hasChanged_ = false;
};

}  // namespace QvPluginSystem
