#pragma once

#include <QvPlatform/QvPluginSystem/QvPluginInfo.h>
#include <QvPlatform/QvPluginSystem/QvPluginManagerListener.h>
#include <QvPlatform/QvPluginSystem/QvPluginObject.h>
#include <QvPlatform/core/Export.h>
#include <QvPlatform/core/QvArray.h>

#include <memory>
#include <string>

namespace QvPluginSystem {

/// Finds, checks, loads, orders, initializes, uninitializes and unloads plugins, and keeps the pool of
/// objects that they publish.
///
///     auto* manager = QvPluginManager::instance();
///     manager->addPluginSearchDir("/opt/app/plugins");
///     manager->loadAllQvp();
///     for (const auto* plugin : manager->getQueue()) ...
///     manager->unloadAll();
///
/// Texts are UTF-8. No operation throws because a plugin fails: failures go to the listeners and to the
/// log as warnings, and a failed plugin leaves nothing behind; dependencies that were loaded for it stay,
/// unused, until they are unloaded or adopted. Descriptors belong to the manager and are valid until
/// their plugin is unloaded. Nothing is locked: one thread at a time; entry points and listeners run on it.
///
/// A file is known by the absolute path that its name had when it was loaded, and on Linux by its inode.
///
/// Trap: a plugin whose static initializers throw fails to load with the exception's text, and this process
/// opens neither that file nor another at its path again. On Linux such a plugin stays in memory and the
/// system's loader stays locked by the calling thread: other threads that use it, or end the process, wait
/// for ever (docs/porting.md).
///
/// A thread that ends in an entry point, as one that is cancelled, leaves the manager as a failure there
/// would.
class QV_API QvPluginManager {
public:
    QvPluginManager(const QvPluginManager&) = delete;
    QvPluginManager& operator=(const QvPluginManager&) = delete;

    /// The process's one manager, made by the first call. It lives until the process exits; plugins still
    /// loaded then are not uninitialized.
    static QvPluginManager* instance();
    /// Unloads every plugin and goes back to the default search directory, keeping listeners and pool.
    /// Does nothing before the first `instance()`.
    static void reset();

    /// The directories that are searched, in order: at first "plugins" beside this library.
    const Qv::QvArray<std::string>& getPluginSearchDirs() const;
    /// Those of them that were added.
    const Qv::QvArray<std::string>& getAddedPluginsSearchDirs() const;
    /// False when this very text was added already or is searched already.
    bool addPluginSearchDir(const std::string& dir);
    /// False when this very text was not added.
    bool removePluginSearchDir(const std::string& dir);
    void resetPluginSearchDirs();

    /// The loaded plugins in the order in which they were initialized.
    const Qv::QvArray<QvPluginInfo*>& getPlugins() const;
    /// The first plugin with exactly this name, or null. Constant time.
    QvPluginInfo* getPluginForName(const std::string& name) const;
    /// The plugin loaded from this file, or null. Constant time. Files are told apart by the file system
    /// on Linux, by their path without regard to letter case on Windows.
    QvPluginInfo* getPluginForPath(const std::string& path) const;
    bool isLoaded(const std::string& path) const;

    /// All loaded plugins, each after those it depends on. Linear in plugins and dependencies.
    Qv::QvArray<QvPluginInfo*> getQueue() const;
    /// What `info` needs, directly and indirectly, dependencies first and `info` last.
    Qv::QvArray<QvPluginInfo*> getDependencyPlugins(QvPluginInfo* info) const;
    /// `info` and then the plugins that depend on it, directly and indirectly, in queue order.
    Qv::QvArray<QvPluginInfo*> getProvidedPlugins(QvPluginInfo* info) const;

    /// Loads one plugin file and, first, the plugins that it needs.
    /// Trap: the result says whether a plugin is loaded whose *name* equals `path`; ask `isLoaded(path)`
    /// whether the file is loaded.
    bool load(const std::string& path);
    /// Loads each; listeners hear of a change once.
    void load(const Qv::QvArray<std::string>& paths);
    /// Loads every file with the extension ".qvp" of every search directory.
    void loadAllQvp();
    /// Reads a plugin's descriptor without initializing it. `file` is a path or a name that is searched
    /// for, with ".qvp" appended when needed; the other two are not used. A default descriptor on failure.
    /// `path` is where it was found; `dependentCount` is 0 and `explicitlyLoaded` false.
    QvPluginInfo loadInfo(const std::string& file, const std::string& second, const std::string& third) const;

    /// Gives up the request for a plugin; it goes, with the dependencies that nobody needs any more, unless
    /// others depend on it. True when it is gone or was not there; false when it stays: others depend on
    /// it, a listener objected, its `UninitializePlugin` failed, or it is being loaded or unloaded.
    bool unload(const std::string& name);
    void unload(const Qv::QvArray<std::string>& names);
    void unloadAll();

    /// Registers a listener, making the manager if need be; null or a second registration does nothing.
    static void addListener(QvPluginManagerListener* listener);
    /// Withdraws a listener; never makes the manager. An unknown one is ignored.
    static void removeListener(QvPluginManagerListener* listener);

    /// Publishes an object, then tells the listeners. It is not owned and must be removed before it goes.
    void addObject(QvPluginObject* object);
    /// Tells the listeners, then withdraws the object. Constant time for the newest. After the manager's
    /// end, in a static destructor, it does nothing.
    void removeObject(QvPluginObject* object);
    /// The published objects, oldest first.
    const Qv::QvArray<QvPluginObject*>& getAllObjects() const;

protected:
    /// For `instance()` only: a second manager fails an assertion.
    QvPluginManager();
    ~QvPluginManager();

private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace QvPluginSystem
