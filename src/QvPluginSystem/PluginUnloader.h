#pragma once

#include "QvPluginSystem/PluginSystemState.h"

#include <string>
#include <vector>

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

    /// Who keeps a plugin loaded, and the words in which a plugin says why.
    struct Refusal {
        std::string by;  ///< the plugin's name, the listener's type, or "" if others depend on the plugin
        std::string words;
    };

    /// Withdraws the request for the plugin of this name.
    Result unload(const std::string& name);
    /// The same for this plugin. Asks it for its words only if `refusal` is given.
    Result unload(LoadedPlugin& plugin, Refusal* refusal);

private:
    class Unloading;

    bool begin(std::vector<Unloading>& unloading, LoadedPlugin& plugin, Refusal* refusal);
    bool stop(LoadedPlugin& plugin, Refusal* refusal);
    bool uninitialize(const LoadedPlugin& plugin, Refusal* refusal) const;

    QvPluginManager& manager_;
    PluginSystemState& state_;
};

}  // namespace QvPluginSystem
