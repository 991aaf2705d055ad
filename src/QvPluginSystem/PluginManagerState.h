#pragma once

#include <QvPlatform/QvPluginSystem/QvPluginManager.h>

#include "QvPluginSystem/PluginLoader.h"
#include "QvPluginSystem/PluginSystemState.h"
#include "QvPluginSystem/PluginUnloader.h"

namespace QvPluginSystem {

/// What the manager's operations need.
struct PluginManagerParts {
    explicit PluginManagerParts(QvPluginManager& manager)
        : loader(manager, shared), unloader(manager, shared) {}

    PluginSystemState shared;
    PluginLoader loader;
    PluginUnloader unloader;
};

struct QvPluginManager::State : PluginManagerParts {
    State(QvPluginManager& manager, bool first) : PluginManagerParts(manager), isFirst(first) {}

    const bool isFirst;
};

}  // namespace QvPluginSystem
