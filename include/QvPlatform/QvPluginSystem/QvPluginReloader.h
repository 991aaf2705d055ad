#pragma once

#include <QvPlatform/core/Export.h>
#include <QvPlatform/core/QvArray.h>

#include <memory>
#include <string>

namespace QvPluginSystem {

/// One step of a reload.
struct QvReloadStep {
    enum class Action {
        check,    ///< the new file was copied, opened and checked
        save,     ///< the plugin's `SavePluginState`
        unload,   ///< asking the listeners, uninitializing and closing
        load,     ///< opening, asking the listeners and initializing
        restore,  ///< the plugin's `RestorePluginState`
    };

    Action action = Action::check;
    std::string plugin;
    bool succeeded = true;
    /// If it failed, why. If unloading succeeded but the library stays in memory, why.
    std::string message;
    double milliseconds = 0;
};

/// What a reload did. A plain value.
struct QvReloadResult {
    enum class Outcome {
        reloaded,    ///< the new version runs
        loaded,      ///< a new file was found by `poll` and its plugin runs
        unchanged,   ///< the file has the content that already runs; nothing was done
        refused,     ///< what ran before still runs; plugins that were unloaded on the way are back
        rolledBack,  ///< the new version, or a dependent with it, failed; the old version is back
        lost,        ///< the same, but the plugins in `lost` could not be brought back
    };

    Outcome outcome = Outcome::unchanged;
    Qv::QvArray<std::string> plugins;  ///< whose files were to be reloaded
    std::string reason;                ///< why they do not run; "" if they do
    std::string refusedBy;             ///< a plugin's name or a listener's type; "" if neither refused
    Qv::QvArray<QvReloadStep> steps;   ///< in the order in which they were done
    Qv::QvArray<std::string> lost;     ///< loaded before and not now

    /// Whether the plugins now run as their files are.
    explicit operator bool() const noexcept { return outcome <= Outcome::unchanged; }

    /// The result in one line, and one more line for each step whose message is not the reason. Each ends
    /// with a newline.
    QV_API std::string text() const;
};

/// Live development: replaces plugins by their new versions while the host runs.
///
///     QvPluginSystem::QvPluginReloader reloader;  // before the plugins are loaded
///     manager->loadAllQvp();
///     reloader.watch();
///     while (running) {
///         for (const auto& result : reloader.poll()) std::cout << result.text();
///         step();
///     }
///
/// During its lifetime the manager opens a hidden copy of each plugin file, in the file's folder, so that the
/// file can be overwritten while the plugin runs. Paths and messages name the file itself. A copy is removed
/// when its library is closed, or at the next start if the process ended before. If the folder cannot be
/// written, loading fails with that reason. A plugin that is already loaded still runs from its file, which
/// must not be overwritten before its first reload.
///
/// A plugin keeps its state if it defines `SavePluginState` and `RestorePluginState` (`QvPlugin.h`). What
/// survives and what cannot is described in docs/guide/live.md.
///
/// A library stays in memory, and the step's message names the reason, if an object in the pool or a listener
/// belongs to it, if another thread is in one of its functions, or if the system does not unload it. To find
/// such threads, closing a library briefly interrupts every other thread of the process: by a signal on
/// Linux, by suspending it on Windows.
///
/// One thread, which creates, uses and destroys the reloader and uses the manager. Only one reloader at a
/// time: a second one refuses everything.
class QV_API QvPluginReloader {
public:
    /// Starts live mode of `QvPluginManager::instance()`. Throws only if memory runs out.
    QvPluginReloader();
    QvPluginReloader(const QvPluginReloader&) = delete;
    QvPluginReloader& operator=(const QvPluginReloader&) = delete;
    /// Ends live mode. The loaded plugins stay, and so do their copies until they are unloaded.
    ~QvPluginReloader();

    /// Replaces a loaded plugin by the version that its file now holds. First the new file is opened, which
    /// runs its static initializers, and checked: its name, its build information, its dependencies, and the
    /// requirements of the loaded plugins that depend on it. If it fails, nothing else is done. Then its
    /// dependents and the plugin are unloaded, and loaded again in reverse order, each with its state. Loaded
    /// plugins keep their place in the manager's list and remain explicitly loaded or not.
    ///
    /// If a listener or a plugin refuses or throws, or memory runs out, everything is undone. Listeners are
    /// notified as by any unloading and loading, and once of the change. Refused while the manager is
    /// calling a plugin or a listener, from another thread, and while a function of a plugin that would be
    /// unloaded is on the call stack. On Linux a cancellation of the thread is put off until the end.
    QvReloadResult reload(const std::string& name);
    /// The same for several plugins at once: all or none. Unchanged ones among them are only dependents.
    QvReloadResult reload(const Qv::QvArray<std::string>& names);

    enum class NewFiles { ignore, load };

    /// Begins to watch the search directories and the folders of the loaded plugins, also those that are
    /// added later. `newFiles` tells what `poll` does with a plugin file that appears in a search directory.
    /// Returns false with the reason in `error`, which may be null, if a directory cannot be watched; the
    /// others are watched. A further call only changes `newFiles`.
    bool watch(NewFiles newFiles = NewFiles::ignore, std::string* error = nullptr);

    /// Reloads the plugins whose files have changed and are complete. Plugins that depend on each other, or
    /// have a common dependent, are reloaded together; there is one result for each such group. Empty if
    /// nothing is to be done, which takes less than a microsecond, and before `watch`. A removed file is
    /// ignored until there is a new one.
    Qv::QvArray<QvReloadResult> poll();

private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace QvPluginSystem
