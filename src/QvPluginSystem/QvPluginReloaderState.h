#pragma once

#include <QvPlatform/QvPluginSystem/QvPluginReloader.h>

#include "QvPluginSystem/LiveLibraries.h"
#include "QvPluginSystem/PluginManagerState.h"
#include "QvPluginSystem/ReloadPoll.h"

#include <memory>
#include <string>
#include <thread>

namespace QvPluginSystem {

/// What a reloader consists of.
struct QvPluginReloader::State {
    explicit State(PluginManagerParts& managersParts)
        : manager(managersParts), live(manager.shared.pool, manager.shared.listeners) {}
    State(const State&) = delete;
    State& operator=(const State&) = delete;
    /// Ends live mode, also if memory runs out while it begins.
    ~State() {
        if (isOnlyOne) manager.shared.libraries.setLive(nullptr);
    }

    /// Why this reloader does nothing now; "" if it may.
    std::string refusal() const {
        if (std::this_thread::get_id() != thread)
            return "only the thread that created the reloader may reload";
        if (!isOnlyOne) return "there is another reloader";
        return manager.shared.isBusy() ? "the manager is calling a plugin or a listener" : "";
    }

    PluginManagerParts& manager;
    LiveLibraries live;
    std::unique_ptr<ReloadPoll> polling;  ///< once it watches
    const std::thread::id thread = std::this_thread::get_id();
    bool isOnlyOne = false;
};

}  // namespace QvPluginSystem
