#pragma once

#include <QvPlatform/QvPluginSystem/QvPluginReloader.h>

#include "QvPluginSystem/LiveLibraries.h"
#include "QvPluginSystem/PluginManagerState.h"
#include "QvPluginSystem/ReloadWatch.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

namespace QvPluginSystem {

/// What the reloader's `watch` and `poll` do: they keep the list of watched files as the manager's plugins
/// are, and reload the plugins whose files have changed.
class ReloadPoll {
public:
    using NewFiles = QvPluginReloader::NewFiles;

    ReloadPoll(PluginManagerParts& manager, LiveLibraries& live)
        : manager_(manager), live_(live), state_(manager.shared) {}

    bool watch(NewFiles newFiles, std::string* error);
    /// Does nothing, and keeps the changes for later, while the manager is busy.
    Qv::QvArray<QvReloadResult> poll();

private:
    using Paths = std::set<std::string>;
    using NamesByPath = std::map<std::string, std::string>;

    bool isOutdated() const;
    void update();
    Qv::QvArray<QvReloadResult> handle(const std::vector<std::string>& paths);
    void addHeld(Paths& paths);
    void reload(const NamesByPath& group, Qv::QvArray<QvReloadResult>& results);

    PluginManagerParts& manager_;
    LiveLibraries& live_;
    PluginSystemState& state_;
    ReloadWatch watch_;
    bool isWatching_ = false;
    NewFiles newFiles_ = NewFiles::ignore;
    std::int64_t nextLook_ = 0;  // in ticks
    std::size_t knownGeneration_ = 0;
    Qv::QvArray<std::string> knownDirectories_;
    std::unordered_map<std::string, std::string> knownFiles_;  // of the loaded plugins, by name
    std::vector<std::string> unhandled_;  // changed files; kept if memory runs out while they are reloaded
    Paths lost_;                          // files of plugins that a reload has lost
    std::vector<Paths> held_;             // files that failed together, perhaps because of one of them
};

}  // namespace QvPluginSystem
