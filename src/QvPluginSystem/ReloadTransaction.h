#pragma once

#include <QvPlatform/QvPluginSystem/QvPluginReloader.h>

#include "QvPluginSystem/ReloadMoves.h"
#include "QvPluginSystem/ReloadPlan.h"
#include "os/Cancellation.h"

#include <string>
#include <vector>

namespace QvPluginSystem {

/// One reload, or the loading of one new file. Used once.
class ReloadTransaction {
public:
    ReloadTransaction(PluginManagerParts& manager, LiveLibraries& live)
        : manager_(manager), plan_(manager, live), moves_(manager, live, record_) {
        live.takeNotes();  // of unloading before this reload
    }
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

    void tellOfChange();
    bool makePlan(const Qv::QvArray<std::string>& names);
    Outcome replaceAll();
    Outcome bringNewUp();
    Outcome bringOldBack(Outcome outcome);
    void pinAll();

    bool takeDownAll();
    bool takeNewDown();
    bool bringUpAll(AfterFailure afterFailure);

    void unloadUnneeded();
    void unloadNewcomers();
    void restoreOrder();
    void listLost();

    os::CancellationShield untilTheEnd_;  ///< first, so that it lasts until all is closed
    PluginManagerParts& manager_;
    ReloadPlan plan_;
    ReloadRecord record_;
    ReloadMoves moves_;
    std::vector<std::string> filesBefore_;   ///< of all loaded plugins, in their order
    std::vector<LoadedPlugin*> neighbours_;  ///< what the plugins need outside the plan; pinned
    bool arePinned_ = false;
};

}  // namespace QvPluginSystem
