#pragma once

#include <QvPlatform/QvPluginSystem/QvPluginReloader.h>

#include "QvPluginSystem/PluginManagerState.h"
#include "QvPluginSystem/ReloadWatch.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

namespace QvPluginSystem {

/// What the reloader's `watch` and `poll` do: they keep the list of watched files as the manager's plugins
/// are, and reload the plugins whose files have changed.
class ReloadPoll {
public:
    using NewFiles = QvPluginReloader::NewFiles;
    using Reload = std::function<QvReloadResult(const Qv::QvArray<std::string>& names)>;

    ReloadPoll(PluginManagerParts& manager, Reload reload)
        : manager_(manager), state_(manager.shared), reload_(std::move(reload)) {}

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
    void load(const std::string& path, Qv::QvArray<QvReloadResult>& results);

    PluginManagerParts& manager_;
    PluginSystemState& state_;
    Reload reload_;
    ReloadWatch watch_;
    bool isWatching_ = false;
    NewFiles newFiles_ = NewFiles::ignore;
    std::int64_t nextLook_ = 0;  // in ticks
    std::size_t knownGeneration_ = 0;
    Qv::QvArray<std::string> knownDirectories_;
    std::unordered_map<std::string, std::string> knownFiles_;  // of the loaded plugins, by name
    Paths lost_;                                               // files of plugins that a reload has lost
    std::vector<Paths> held_;  // files that failed together, perhaps because of one of them
};

}  // namespace QvPluginSystem
