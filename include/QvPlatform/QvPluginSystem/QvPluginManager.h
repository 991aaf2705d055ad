#pragma once

#include <QvPlatform/QvPluginSystem/QvPluginInfo.h>
#include <QvPlatform/QvPluginSystem/QvPluginManagerListener.h>
#include <QvPlatform/QvPluginSystem/QvPluginObject.h>
#include <QvPlatform/core/Export.h>
#include <QvPlatform/core/QvArray.h>

#include <memory>
#include <string>

namespace QvPluginSystem {

/// Finds, checks, orders, loads, initializes, uninitializes and unloads plugins, and keeps the pool of
/// objects that they publish.
///
///     auto* manager = QvPluginManager::instance();
///     manager->addPluginSearchDir("/opt/app/plugins");
///     manager->loadAllQvp();
///     for (const auto* plugin : manager->getQueue()) ...
///     manager->unloadAll();
///
/// Texts are UTF-8. No operation throws because a plugin fails: failures are reported to the listeners and
/// logged as warnings. A failed plugin leaves nothing behind, but dependencies that were loaded for it stay
/// loaded, unused, until they are unloaded or another plugin needs them. The manager owns the descriptors,
/// which are valid until their plugin is unloaded. Not thread-safe: one thread at a time. Entry points and
/// listeners run on the calling thread.
///
/// A file is identified by the absolute path that its name had when it was loaded and, on Linux, by its
/// inode.
///
/// Trap: if a static initializer of a plugin throws, loading fails with the exception's text, and this
/// process never again opens that file or another at its path. On Linux such a plugin stays in memory and the
/// calling thread keeps the system's loader locked: other threads that use the loader, or end the process,
/// wait forever (docs/porting.md).
///
/// If a thread ends within an entry point, for example by cancellation, the effect on the manager is that of
/// a failure there.
class QV_API QvPluginManager {
public:
    QvPluginManager(const QvPluginManager&) = delete;
    QvPluginManager& operator=(const QvPluginManager&) = delete;

    /// The process's only manager, created by the first call. It lives until the process exits; plugins still
    /// loaded then are not uninitialized.
    static QvPluginManager* instance();
    /// Unloads every plugin and restores the default search directory; keeps the listeners, the pool and
    /// `setRefusesUnsafeFiles`. Does nothing before the first `instance()`.
    static void reset();

    /// The directories that are searched, in order; initially "plugins" next to this library.
    const Qv::QvArray<std::string>& getPluginSearchDirs() const;
    /// The added directories among them.
    const Qv::QvArray<std::string>& getAddedPluginsSearchDirs() const;
    /// False if exactly this text is already added or searched.
    bool addPluginSearchDir(const std::string& dir);
    /// False if exactly this text was not added.
    bool removePluginSearchDir(const std::string& dir);
    void resetPluginSearchDirs();

    /// For hosts with more rights than the users around them. If true, a plugin file that other users can
    /// change is not opened, whichever request it is for; loading fails with a message that names the file,
    /// the weak point and why it is weak. False at first. Plugins that are loaded stay loaded.
    ///
    /// The file, each directory above it, and each directory on the way through links are judged. Each must
    /// - on Linux belong to the superuser or this process's effective user, and be writable neither by its
    ///   group nor by everyone. An access list counts as the group, and the sticky bit does not help;
    /// - on Windows belong to this process's user, the administrators, the system or its installer, and allow
    ///   nobody else to write the file or add files to the directory, to delete it or what is in it, or to
    ///   change its owner or rights. Denials are not considered. A file system without rights is unsafe.
    ///   Of a chain of several links, those between the first and the last are not judged.
    ///
    /// The judgement precedes each opening, also of new versions in a reload. Nobody but those trusted users
    /// can replace the file between judgement and opening, because each directory is judged before what is in
    /// it. Trap: the libraries that a plugin needs are not judged; the system's loader finds them.
    void setRefusesUnsafeFiles(bool refuses);

    /// The loaded plugins in order of initialization.
    const Qv::QvArray<QvPluginInfo*>& getPlugins() const;
    /// The first plugin with exactly this name, or null. Constant time.
    QvPluginInfo* getPluginForName(const std::string& name) const;
    /// The plugin loaded from this file, or null. Constant time. Files are identified by the file system on
    /// Linux, and by their path, ignoring case, on Windows.
    QvPluginInfo* getPluginForPath(const std::string& path) const;
    bool isLoaded(const std::string& path) const;

    /// All loaded plugins, each after those it depends on. Linear time in plugins and dependencies.
    Qv::QvArray<QvPluginInfo*> getQueue() const;
    /// The plugins that `info` needs, directly and indirectly, dependencies first, and `info` last.
    Qv::QvArray<QvPluginInfo*> getDependencyPlugins(QvPluginInfo* info) const;
    /// `info` and then the plugins that depend on it, directly and indirectly, in queue order.
    Qv::QvArray<QvPluginInfo*> getProvidedPlugins(QvPluginInfo* info) const;

    /// Loads one plugin file after the plugins that it needs. Trap: returns whether a plugin whose *name*
    /// equals `path` is loaded; call `isLoaded(path)` to learn whether the file is loaded.
    bool load(const std::string& path);
    /// Loads each file; listeners are notified of a change once.
    void load(const Qv::QvArray<std::string>& paths);
    /// Loads every file with the extension ".qvp" in every search directory.
    void loadAllQvp();
    /// Reads a plugin's descriptor without initializing the plugin. `file` is a path or a name to search for,
    /// with ".qvp" appended if needed; the other parameters are not used. The result's `path` is where the
    /// file was found, `dependentCount` is 0 and `explicitlyLoaded` is false. On failure returns a default
    /// descriptor.
    QvPluginInfo loadInfo(const std::string& file, const std::string& second, const std::string& third) const;

    /// Withdraws the request for a plugin. If no other plugin depends on it, unloads it and the dependencies
    /// that are no longer needed. Returns true if it is unloaded or was not loaded. Returns false if it stays
    /// loaded: others depend on it, a listener objected, its `UninitializePlugin` failed, or it is being
    /// loaded or unloaded.
    bool unload(const std::string& name);
    void unload(const Qv::QvArray<std::string>& names);
    void unloadAll();

    /// Registers a listener; creates the manager if there is none. Does nothing if `listener` is null or
    /// already registered.
    static void addListener(QvPluginManagerListener* listener);
    /// Removes a listener; never creates the manager. An unknown listener is ignored.
    static void removeListener(QvPluginManagerListener* listener);

    /// Publishes an object, then notifies the listeners. The manager does not own it; remove it before it is
    /// destroyed.
    void addObject(QvPluginObject* object);
    /// Notifies the listeners, then removes the object. Constant time for the newest. Does nothing after the
    /// manager is destroyed, as in a static destructor.
    void removeObject(QvPluginObject* object);
    /// The published objects, oldest first.
    const Qv::QvArray<QvPluginObject*>& getAllObjects() const;

protected:
    /// For `instance()` only: a second manager fails an assertion.
    QvPluginManager();
    ~QvPluginManager();

private:
    friend class QvPluginReloader;
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace QvPluginSystem
