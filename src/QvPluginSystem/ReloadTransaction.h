#pragma once

#include <QvPlatform/QvPluginSystem/QvPluginReloader.h>

#include "QvPluginSystem/ReloadPlan.h"

#include <string>
#include <vector>

namespace QvPluginSystem {

/// One reload, or the loading of one new file. Used once.
class ReloadTransaction {
public:
    ReloadTransaction(PluginManagerParts& manager, LiveLibraries& live)
        : manager_(manager), live_(live), plan_(manager, live) {}
    ReloadTransaction(const ReloadTransaction&) = delete;
    ReloadTransaction& operator=(const ReloadTransaction&) = delete;
    ~ReloadTransaction();

    /// What plugins and listeners throw counts as their failure.
    QvReloadResult run(const Qv::QvArray<std::string>& names);

    /// Loads the plugin of a file from which none is loaded, at its absolute universal path.
    QvReloadResult loadNew(const std::string& path);

private:
    using Action = QvReloadStep::Action;
    using Outcome = QvReloadResult::Outcome;
    enum class AfterFailure { stop, tryOthers };

    template <typename Work>
    bool step(Action action, const std::string& plugin, Work work);
    template <typename Work>
    bool withMemory(Work work);
    bool failAt(const std::string& plugin);

    void tellOfChange();
    bool makePlan(const Qv::QvArray<std::string>& names);
    Outcome replaceAll();
    Outcome bringNewUp();
    Outcome bringOldBack(Outcome outcome);
    void pinAll();

    bool takeDownAll();
    void saveState(ReloadEntry& entry);
    bool takeDown(ReloadEntry& entry);
    bool unload(LoadedPlugin& plugin, std::string& message);
    bool takeNewDown();

    bool bringUpAll(AfterFailure afterFailure);
    bool bringUp(ReloadEntry& entry);
    LoadedPlugin* load(const std::string& path, const PluginFile& file, PluginLoader::Request request,
                       std::string& message);
    void restoreState(const ReloadEntry& entry);

    void unloadUnneeded();
    void unloadNewcomers();
    void restoreOrder();
    void listLost();
    bool isLoaded(const LoadedPlugin* plugin) const;

    PluginManagerParts& manager_;
    LiveLibraries& live_;
    ReloadPlan plan_;
    QvReloadResult result_;
    std::string message_;                    ///< of the last step
    std::vector<std::string> filesBefore_;   ///< of all loaded plugins, in their order
    std::vector<LoadedPlugin*> neighbours_;  ///< what the plugins need outside the plan; pinned
    bool arePinned_ = false;
    bool hasChanged_ = false;
};

}  // namespace QvPluginSystem
