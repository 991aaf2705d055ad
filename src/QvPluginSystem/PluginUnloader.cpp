// `unload` withdraws the explicit request. If nothing needs the plugin, `stop` asks the listeners and calls
// the plugin's uninitialize function. Then its library is closed, the references on the dependencies are
// released one by one, each dependency that became unused is unloaded, and the plugin is removed from the
// registry last. The plugins that are being unloaded are a list, each a dependency of the one before it.
//
// If a listener or the plugin refuses, or a listener throws, in `stop`, all flags get their old values back:
// the plugin is as before. After `stop` succeeded, the plugin always goes: if a listener throws while a
// dependency is stopped, or memory runs out, the remaining references are released and the plugin is removed,
// but the remaining dependencies stay loaded.
//
// While `isUnloading` is set the plugin is still in the registry; nested requests to load or unload it fail.

#include "QvPluginSystem/PluginUnloader.h"

#include <QvPlatform/diagnostics/Log.h>

#include "QvPluginSystem/rules/PluginRules.h"
#include "base/Demangle.h"

#include <utility>

namespace QvPluginSystem {
namespace {

// Sets a flag and restores its previous value at the end, unless `keep` was called.
class ScopedFlag {
public:
    ScopedFlag(bool& flag, bool value) : flag_(flag), previous_(flag) { flag_ = value; }
    ScopedFlag(const ScopedFlag&) = delete;
    ScopedFlag& operator=(const ScopedFlag&) = delete;
    ~ScopedFlag() {
        if (!kept_) flag_ = previous_;
    }
    void keep() { kept_ = true; }

private:
    bool& flag_;
    bool previous_;
    bool kept_ = false;
};

}  // namespace

/// A plugin that was uninitialized and is being unloaded. The destructor releases the references that are
/// left and removes the plugin from the registry, also when a listener throws.
class PluginUnloader::Unloading {
public:
    Unloading(PluginSystemState& state, LoadedPlugin& plugin) noexcept : state_(state), plugin_(&plugin) {}
    Unloading(Unloading&& other) noexcept
        : state_(other.state_),
          plugin_(std::exchange(other.plugin_, nullptr)),
          isClosed_(other.isClosed_),
          released_(other.released_) {}
    Unloading(const Unloading&) = delete;
    Unloading& operator=(const Unloading&) = delete;
    Unloading& operator=(Unloading&&) = delete;
    ~Unloading() {
        if (!plugin_) return;
        while (releaseNext()) {
        }
        state_.registry.remove(*plugin_);
    }

    /// Closes the library first. Returns the dependency that lost a reference; null if none is left.
    LoadedPlugin* releaseOne() {
        if (!std::exchange(isClosed_, true)) {
            const OpenPluginLibrary closedAtEnd(state_.libraries, plugin_->file.path);
            Qv::LogDebug("QvPluginManager - Unloading plugin file: %s\n", plugin_->requestedPath.c_str());
        }
        return releaseNext();
    }

private:
    LoadedPlugin* releaseNext() {
        if (released_ == plugin_->neededPlugins.size()) return nullptr;
        LoadedPlugin* const dependency = plugin_->neededPlugins[released_++];
        --dependency->dependentCount;
        return dependency;
    }

    PluginSystemState& state_;
    LoadedPlugin* plugin_;
    bool isClosed_ = false;
    std::size_t released_ = 0;
};

PluginUnloader::Result PluginUnloader::unload(const std::string& name) {
    LoadedPlugin* plugin = state_.registry.findByName(name);
    return plugin ? unload(*plugin, nullptr) : Result::notLoaded;
}

PluginUnloader::Result PluginUnloader::unload(LoadedPlugin& plugin, Refusal* refusal) {
    const ManagerRequest underWay(state_);
    if (plugin.isUnloading) return Result::stays;
    ScopedFlag notRequested(plugin.explicitlyLoaded, false);
    std::vector<Unloading> unloading;
    const bool isNeeded = plugin.isNeeded();
    if (!isNeeded && !begin(unloading, plugin, refusal)) return Result::stays;
    notRequested.keep();
    if (isNeeded) return Result::stays;
    rules::releaseReferences(unloading, [&](LoadedPlugin* dependency) {
        const bool isUnused = dependency->getUseCount() == 0 && dependency->pins == 0;
        if (isUnused && !dependency->isUnloading) begin(unloading, *dependency, nullptr);
    });
    return Result::unloaded;
}

// Stops the plugin and adds it to those that are being unloaded. Once it is stopped, nothing may fail.
bool PluginUnloader::begin(std::vector<Unloading>& unloading, LoadedPlugin& plugin, Refusal* refusal) {
    if (unloading.size() == unloading.capacity()) unloading.reserve(2 * unloading.size() + 1);
    if (!stop(plugin, refusal)) return false;
    unloading.emplace_back(state_, plugin);
    return true;
}

// Uninitializes the plugin. Returns false, with the plugin unchanged, if a listener or the plugin refuses.
bool PluginUnloader::stop(LoadedPlugin& plugin, Refusal* refusal) {
    ScopedFlag unloading(plugin.isUnloading, true);
    QvPluginManagerListener* refuser = nullptr;
    if (!state_.listeners.ask(&QvPluginManagerListener::onAboutToUninitialize, plugin, &refuser)) {
        if (refusal) refusal->by = base::typeName(*refuser);
        return false;
    }
    if (!uninitialize(plugin, refusal)) {
        state_.listeners.reportError(plugin.requestedPath, &plugin,
                                     "Problem calling UninitializePlugin function");
        return false;
    }
    unloading.keep();
    return true;
}

bool PluginUnloader::uninitialize(const LoadedPlugin& plugin, Refusal* refusal) const {
    const PluginLibraryRecord* library = state_.libraries.find(plugin.file.path);
    std::string ignored;
    std::string* const words = refusal ? &refusal->words : nullptr;
    const auto call = [&] { return library->entryPoints->uninitialize(manager_, words); };
    if (library && callPlugin(call, words ? *words : ignored)) return true;
    if (refusal) refusal->by = plugin.indexedName;
    return false;
}

}  // namespace QvPluginSystem
