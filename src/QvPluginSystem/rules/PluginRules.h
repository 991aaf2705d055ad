#pragma once

// What the plugin manager decides, as functions over descriptors: names and versions, the search order, the
// dependency that a name means, and what is unloaded with a plugin. The manager applies them to real
// libraries, the tool `qvp` to descriptors that it has read. Nothing here opens a library or keeps a state.

#include <QvPlatform/QvPluginSystem/QvPluginInfo.h>
#include <QvPlatform/filesystem/File.h>

#include "os/FileTrust.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace QvPluginSystem::rules {

/// The extension of plugin libraries, with its dot.
inline constexpr const char* kExtension = ".qvp";

/// The files of a directory with this extension, in the order in which the manager loads them.
std::vector<QvPlatform::File> pluginFilesIn(const std::string& directory);

/// Whether two plugin names are equal, ignoring case.
bool isSameName(std::string_view one, std::string_view other);
/// The name in lower case: equal for names that are the same.
std::string foldedName(std::string name);

/// Whether the plugin satisfies the dependency: the names are equal ignoring case, the plugin's version is
/// not below the needed one, and its compatibility version is not above it.
bool satisfies(const QvPluginInfo& plugin, const QvDependency& dependency);

/// Finds the file of a plugin: the name as it stands, from the current directory and then in each search
/// directory, and after that the name with the extension likewise. `asGiven(file)` and
/// `inDirectory(index, file)` return what they found, or a value that converts to false.
template <typename AsGiven, typename InDirectory>
auto search(const std::string& name, std::size_t directoryCount, AsGiven asGiven, InDirectory inDirectory)
    -> decltype(asGiven(name)) {
    const auto searchExactly = [&](const std::string& file) {
        auto found = asGiven(file);
        for (std::size_t i = 0; !found && i < directoryCount; ++i) found = inDirectory(i, file);
        return found;
    };
    if (name.empty()) return {};
    auto found = searchExactly(name);
    if (found || name.ends_with(kExtension)) return found;
    return searchExactly(name + kExtension);
}

/// Of loaded plugins with the same name, ignoring case, in loading order: the first that satisfies the
/// dependency, else the first. `infoOf` returns the descriptor of one. The end if there are none.
template <typename Plugins, typename InfoOf>
auto pickForDependency(const Plugins& plugins, const QvDependency& dependency, InfoOf infoOf) {
    const auto fitting = std::find_if(plugins.begin(), plugins.end(), [&](const auto& plugin) {
        return satisfies(infoOf(plugin), dependency);
    });
    return fitting == plugins.end() ? plugins.begin() : fitting;
}

/// Why a dependency is not available.
enum class Unmet { nameIsLoading, fileIsLoading, notFound, notInitialized, notCompatible };

/// The manager's message for it.
std::string messageFor(Unmet reason, const QvDependency& dependency);
/// The message for a dependency cycle through the plugin with this name or path.
std::string cycleMessage(const std::string& plugin);
/// The message for a file that cannot be opened or is no plugin.
inline std::string cannotLoadMessage(const std::string& reason) {
    return "Plugin file could not be loaded : " + reason;
}
/// The message for a file that other users can change, in one line.
std::string unsafeFileMessage(const std::string& path, const os::WeakPoint& weak);
inline constexpr const char* kEmptyNameMessage = "This plugin has an empty name.";

/// Seeks the file or the plugin for the load's next dependency, and begins to load it. A reason if that is in
/// vain.
template <typename Host, typename Load, typename Answer>
std::optional<Unmet> request(Host& host, Load& load, Answer& answer) {
    const QvDependency& dependency = *load.dependency();
    if (host.isLoadingName(dependency.name)) return Unmet::nameIsLoading;
    load.file = host.find(dependency.name);
    if (load.file && host.isLoadingFile(load.file)) return Unmet::fileIsLoading;
    answer = load.file ? host.begin(load.file) : host.loadedFor(dependency);
    return std::nullopt;
}

/// Why the plugin that was requested for the load's next dependency does not meet it; nothing if it does.
template <typename Host, typename Load, typename Plugin>
std::optional<Unmet> examine(const Host& host, const Load& load, const Plugin& plugin) {
    if (!plugin && !load.file) return Unmet::notFound;
    if (!plugin || host.isUnloading(plugin)) return Unmet::notInitialized;
    if (!satisfies(host.infoOf(plugin), *load.dependency())) return Unmet::notCompatible;
    return std::nullopt;
}

/// Loads a plugin after those that it depends on, depth-first in the descriptors' order, and returns it; null
/// if that fails. The loads that are under way are a list of the host's, so a chain of dependencies may be
/// longer than the thread's stack is deep. `answer` is what `begin` returned for the plugin. The host does
/// the work:
/// - `begin(file)`: the plugin if it is loaded, null if it cannot be, nothing if its dependencies come first;
///   then its load is now the innermost one;
/// - `innermost()`: the load that began last and has not ended; null if there is none. Its `dependency()` is
///   the first one that is not met yet, null if all are, and `file` keeps what was found for it;
/// - `isLoadingName(name)`, `isLoadingFile(file)`: whether a plugin of this name, or from this file, is being
///   loaded; if so, the dependency closes a cycle;
/// - `find(name)`: the file that `search` finds, or a value that converts to false;
/// - `loadedFor(dependency)`: the loaded plugin by `pickForDependency`, for a name without a file: it may
/// have
///   been loaded from outside the search directories. It answers as `begin` does;
/// - `isUnloading(plugin)`, `infoOf(plugin)`: whether it is being unloaded; its descriptor;
/// - `meet(plugin)`: the innermost load's dependency is met by this plugin;
/// - `refuse(reason)`: it cannot be met; reports that and ends the load;
/// - `complete()`: loads the innermost load's own plugin, ends the load and returns the plugin, or null.
template <typename Host, typename Plugin>
Plugin load(Host& host, std::optional<Plugin> answer) {
    while (auto* const innermost = host.innermost()) {
        std::optional<Unmet> unmet;
        if (answer) {
            unmet = examine(host, *innermost, *answer);
            if (!unmet) host.meet(*answer);
            answer.reset();
        } else if (innermost->dependency()) {
            unmet = request(host, *innermost, answer);
        } else {
            answer = host.complete();
        }
        if (!unmet) continue;
        host.refuse(*unmet);
        answer = Plugin();
    }
    return *answer;
}

/// Releases the references of the plugins in the list on their dependencies, in the descriptors' order. A
/// dependency that becomes unused is unloaded at once, and with it its own dependencies, before the next
/// reference is released. `releaseOne()` of an element returns the dependency that lost a reference, and null
/// after the last one. `unloadIfUnused(dependency)` adds to the list what it unloads.
template <typename Unloading, typename UnloadIfUnused>
void releaseReferences(std::vector<Unloading>& unloading, UnloadIfUnused unloadIfUnused) {
    while (!unloading.empty()) {
        if (const auto dependency = unloading.back().releaseOne())
            unloadIfUnused(dependency);
        else
            unloading.pop_back();
    }
}

}  // namespace QvPluginSystem::rules
