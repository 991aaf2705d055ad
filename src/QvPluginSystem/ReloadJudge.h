#pragma once

#include "QvPluginSystem/PluginLoader.h"
#include "QvPluginSystem/ReloadEntry.h"

#include <deque>
#include <string>
#include <unordered_map>
#include <vector>

namespace QvPluginSystem {

/// Answers whether the new versions and their dependents could be loaded, by the loader's own rules but over
/// descriptors alone. Initializes nothing; reads the descriptors of plugins that would be loaded as well.
class ReloadJudge {
public:
    ReloadJudge(PluginSystemState& state, const PluginLoader& loader,
                const std::vector<ReloadEntry>& entries);

    bool accepts();
    /// The plugin that could not be loaded, and why.
    const std::string& rejected() const { return rejected_; }
    const std::string& reason() const { return reason_; }

private:
    class Chain;
    struct Plugin {
        PluginFile file;
        QvPluginInfo info;
        const LoadedPlugin* loaded;  ///< what runs now; null if nothing does
        bool isJudged;
    };

    Plugin* plannedFor(LoadedPlugin& loaded);
    Plugin* plannedFor(const PluginSearchPath::Found& found);
    Plugin* add(const PluginFile& file, const QvPluginInfo& info, const LoadedPlugin* loaded, bool isJudged);
    void reject(const std::string& plugin, const std::string& reason);

    PluginSystemState& state_;
    const PluginLoader& loader_;
    std::deque<Plugin> plugins_;  // never moved
    std::unordered_map<const LoadedPlugin*, Plugin*> byLoaded_;
    PluginFileIndex<Plugin> newFiles_;
    std::string rejected_;
    std::string reason_;
};

}  // namespace QvPluginSystem
