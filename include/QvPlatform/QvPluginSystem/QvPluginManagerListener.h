#pragma once

#include <QvPlatform/core/Export.h>

#include <string>

namespace QvPluginSystem {

class QvPluginInfo;
class QvPluginObject;

/// Observer of the plugin manager; override what you need. Register it with `QvPluginManager::addListener`.
/// The manager does not own it; remove it before it is destroyed.
///
/// All calls run on the thread that called the manager. Exceptions propagate to the manager's caller after
/// the current plugin is rolled back.
class QV_API QvPluginManagerListener {
public:
    QvPluginManagerListener();
    QvPluginManagerListener(const QvPluginManagerListener& other);
    QvPluginManagerListener& operator=(const QvPluginManagerListener& other);
    virtual ~QvPluginManagerListener();

    /// A plugin failed. `info` is null if its descriptor is not known yet; it is valid only during the call.
    virtual void onPluginError(const std::string& file, const QvPluginInfo* info, const std::string& error);
    /// Called before a plugin's dependencies are loaded; returning false rejects the plugin without any
    /// message. Every listener is called, whatever the others return.
    virtual bool onAboutToInitialize(const QvPluginInfo& info);
    /// Called before a plugin is uninitialized; returning false keeps it loaded.
    virtual bool onAboutToUninitialize(const QvPluginInfo& info);
    /// An object was added to the pool.
    virtual void onObjectAdded(QvPluginObject* object);
    /// An object is about to be removed from the pool and is still in it.
    virtual void onRemoveObject(QvPluginObject* object);
    /// The set of loaded plugins may have changed. Called once per successful `load(path)`, `load(paths)` or
    /// `unload(name)`; `unload(names)`, `loadAllQvp` and `unloadAll` may call it several times.
    virtual void onPluginsChanged();
};

}  // namespace QvPluginSystem
