#pragma once

#include "QvPluginSystem/LiveLibraries.h"
#include "QvPluginSystem/PluginRegistry.h"

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace QvPluginSystem {

/// A plugin that a reload unloads and loads again, and what it needs to know about it meanwhile.
struct ReloadEntry {
    explicit ReloadEntry(LoadedPlugin& loaded)
        : plugin(&loaded),
          name(loaded.indexedName),
          path(loaded.requestedPath),
          filePath(loaded.file.path),
          wasRequested(loaded.explicitlyLoaded),
          wasUsed(loaded.getUseCount() > 0) {}

    /// The plugin's file as it is now. It counts as present, because a copy of it will be opened.
    PluginFile currentFile() const {
        PluginFile file(filePath);
        if (!file.isRegular()) file.status = {os::EntryKind::regularFile, std::nullopt};
        return file;
    }

    LoadedPlugin* plugin;  ///< null while it is unloaded; pinned by the transaction
    std::string name;
    std::string path;  ///< as it was requested
    std::string filePath;
    bool wasRequested;
    bool wasUsed;
    std::vector<std::size_t> needed;       ///< the entries that it depends on; all are before it
    std::shared_ptr<LibraryCopy> oldCopy;  ///< of the version that runs
    std::shared_ptr<LibraryCopy> newCopy;  ///< of the version that is to run; null for a mere dependent
    QvPluginInfo newInfo;
    std::optional<std::string> state;  ///< that the plugin saved
};

}  // namespace QvPluginSystem
