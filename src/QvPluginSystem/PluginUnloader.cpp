// `unload` withdraws the explicit request. If nothing needs the plugin, `stop` asks the listeners and calls
// the plugin's uninitialize function, then `release` closes the library, releases the references on the
// dependencies one by one, unloads each dependency that became unused, and removes the plugin from the
// registry last.
//
// If a listener or the plugin refuses, or a listener throws, in `stop`, all flags get their old values back:
// the plugin is as before. After `stop` succeeded, `release` always completes: if a listener throws while a
// dependency is stopped, the remaining references are released and the plugin is removed, but the remaining
// dependencies stay loaded.
//
// While `isUnloading` is set the plugin is still in the registry; nested requests to load or unload it fail.

#include "QvPluginSystem/PluginUnloader.h"

#include <QvPlatform/diagnostics/Log.h>

#include "QvPluginSystem/rules/PluginRules.h"
#include "base/Demangle.h"

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

// Removes the plugin from the registry at the end, also when a listener throws.
class RemovalAtEnd {
public:
    RemovalAtEnd(PluginRegistry& registry, LoadedPlugin& plugin) : registry_(registry), plugin_(plugin) {}
    RemovalAtEnd(const RemovalAtEnd&) = delete;
    RemovalAtEnd& operator=(const RemovalAtEnd&) = delete;
    ~RemovalAtEnd() { registry_.remove(plugin_); }

private:
    PluginRegistry& registry_;
    LoadedPlugin& plugin_;
};

// Releases a plugin's references on its dependencies one by one; the destructor releases the rest, also when
// a listener throws.
class References {
public:
    explicit References(const Qv::QvArray<LoadedPlugin*>& dependencies) : dependencies_(dependencies) {}
    References(const References&) = delete;
    References& operator=(const References&) = delete;
    ~References() {
        while (releaseOne()) {
        }
    }

    /// Returns the dependency that lost a reference; null if none is left.
    LoadedPlugin* releaseOne() {
        if (next_ == dependencies_.size()) return nullptr;
        LoadedPlugin* dependency = dependencies_[next_++];
        --dependency->dependentCount;
        return dependency;
    }

private:
    const Qv::QvArray<LoadedPlugin*>& dependencies_;
    std::size_t next_ = 0;
};

}  // namespace

PluginUnloader::Result PluginUnloader::unload(const std::string& name) {
    LoadedPlugin* plugin = state_.registry.findByName(name);
    return plugin ? unload(*plugin, nullptr) : Result::notLoaded;
}

PluginUnloader::Result PluginUnloader::unload(LoadedPlugin& plugin, Refusal* refusal) {
    const ManagerRequest underWay(state_);
    if (plugin.isUnloading) return Result::stays;
    ScopedFlag notRequested(plugin.explicitlyLoaded, false);
    const bool isNeeded = plugin.isNeeded();
    if (!isNeeded && !stop(plugin, refusal)) return Result::stays;
    notRequested.keep();
    if (isNeeded) return Result::stays;
    release(plugin);
    return Result::unloaded;
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

// Closes the library of an uninitialized plugin and removes the plugin, also when a listener throws.
void PluginUnloader::release(LoadedPlugin& plugin) {
    const RemovalAtEnd removal(state_.registry, plugin);
    References references(plugin.neededPlugins);
    {
        const OpenPluginLibrary closedAtEnd(state_.libraries, plugin.file.path);
        Qv::LogDebug("QvPluginManager - Unloading plugin file: %s\n", plugin.requestedPath.c_str());
    }
    rules::releaseReferences([&] { return references.releaseOne(); },
                             [&](LoadedPlugin* dependency) {
                                 const bool isUnused =
                                     dependency->getUseCount() == 0 && dependency->pins == 0;
                                 if (isUnused && !dependency->isUnloading && stop(*dependency, nullptr))
                                     release(*dependency);
                             });
}

}  // namespace QvPluginSystem
