#pragma once

#include "QvPluginSystem/PluginSystemState.h"

#include <string>

namespace QvPluginSystem {

/// Uninitializes and unloads plugins, together with the dependencies that are no longer needed.
class PluginUnloader {
public:
    PluginUnloader(QvPluginManager& manager, PluginSystemState& state) : manager_(manager), state_(state) {}

    enum class Result {
        unloaded,
        notLoaded,  ///< there was no such plugin
        stays
    };

    /// Withdraws the request for the plugin of this name.
    Result unload(const std::string& name);

private:
    bool stop(LoadedPlugin& plugin);
    bool uninitialize(const LoadedPlugin& plugin) const;
    void release(LoadedPlugin& plugin);

    QvPluginManager& manager_;
    PluginSystemState& state_;
};

}  // namespace QvPluginSystem
