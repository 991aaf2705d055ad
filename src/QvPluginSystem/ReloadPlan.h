#pragma once

#include "QvPluginSystem/PluginManagerState.h"
#include "QvPluginSystem/ReloadEntry.h"

#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

namespace QvPluginSystem {

/// What a reload of some plugins does: those whose files have changed, and their dependents. Making it
/// changes nothing; the new libraries that it opens stay open until `closeNewLibraries`.
class ReloadPlan {
public:
    ReloadPlan(PluginManagerParts& manager, LiveLibraries& live) : manager_(manager), live_(live) {
        newLibraries_.setLive(&live);
        newLibraries_.setRefusesUnsafeFiles(manager.shared.libraries.refusesUnsafeFiles());
    }
    ReloadPlan(const ReloadPlan&) = delete;
    ReloadPlan& operator=(const ReloadPlan&) = delete;
    ~ReloadPlan() { live_.clearStage(); }

    /// Copies, opens and checks the new files. False with the reason; `refusedBy` is the plugin that the
    /// reason is about. True without entries if no file has changed.
    bool make(const Qv::QvArray<std::string>& names);

    /// In order of initialization.
    std::vector<ReloadEntry>& entries() { return entries_; }
    const std::string& reason() const { return reason_; }
    const std::string& refusedBy() const { return refusedBy_; }

    /// From now on the manager opens the new versions, or the old ones.
    void stageNew();
    void stageOld();
    void closeNewLibraries() { opened_.clear(); }

private:
    using Targets = std::unordered_map<LoadedPlugin*, std::shared_ptr<LibraryCopy>>;

    bool refuse(const std::string& plugin, const std::string& reason);
    std::shared_ptr<LibraryCopy> runningCopy(const LoadedPlugin& plugin) const;
    bool copyChanged(const std::string& name, Targets& targets);
    void collect(const Targets& targets);
    bool isOffStack();
    bool open(ReloadEntry& entry);

    PluginManagerParts& manager_;
    LiveLibraries& live_;
    std::vector<ReloadEntry> entries_;
    PluginLibraryTable newLibraries_;
    std::vector<std::unique_ptr<OpenPluginLibrary>> opened_;
    std::string reason_;
    std::string refusedBy_;
};

}  // namespace QvPluginSystem
