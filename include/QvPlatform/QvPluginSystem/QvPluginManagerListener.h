#pragma once

#include <QvPlatform/core/Export.h>

#include <string>

namespace QvPluginSystem {

class QvPluginInfo;
class QvPluginObject;

/// Observer of the plugin manager; override what you need. Registered with
/// `QvPluginManager::addListener`, not owned, and withdrawn by its owner before it is destroyed.
///
/// All calls come on the thread that called the manager. What a listener throws passes to the caller of
/// the manager, after the plugin under way was undone.
class QV_API QvPluginManagerListener {
public:
    QvPluginManagerListener();
    QvPluginManagerListener(const QvPluginManagerListener& other);
    QvPluginManagerListener& operator=(const QvPluginManagerListener& other);
    virtual ~QvPluginManagerListener();

    /// A plugin failed. `info` is null when its descriptor is not known yet, and valid only during the call.
    virtual void onPluginError(const std::string& file, const QvPluginInfo* info, const std::string& error);
    /// Asked before a plugin's dependencies are loaded; false keeps it out, without any message. Every
    /// listener is asked, whatever the others answered.
    virtual bool onAboutToInitialize(const QvPluginInfo& info);
    /// Asked before a plugin is uninitialized; false keeps it.
    virtual bool onAboutToUninitialize(const QvPluginInfo& info);
    /// An object has joined the pool.
    virtual void onObjectAdded(QvPluginObject* object);
    /// An object is about to leave the pool, and is still in it.
    virtual void onRemoveObject(QvPluginObject* object);
    /// A request has changed the set of loaded plugins; once per request.
    virtual void onPluginsChanged();
};

}  // namespace QvPluginSystem
