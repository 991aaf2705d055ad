#pragma once

#include <QvPlatform/QvPluginSystem/QvPluginReloader.h>

#include "QvPluginSystem/LiveLibraries.h"
#include "QvPluginSystem/PluginManagerState.h"

#include <memory>
#include <string>
#include <thread>

namespace QvPluginSystem {

/// What a reloader consists of.
struct QvPluginReloader::State {
    explicit State(PluginManagerParts& managersParts)
        : manager(managersParts), live(manager.shared.pool, manager.shared.listeners) {}

    PluginManagerParts& manager;
    LiveLibraries live;
    const std::thread::id thread = std::this_thread::get_id();
    bool isOnlyOne = false;
};

}  // namespace QvPluginSystem
