#pragma once

// What the plugin manager decides, as functions over descriptors: names and versions, the search order, the
// dependency that a name means, and what is unloaded with a plugin. The manager applies them to real
// libraries, the tool `qvp` to descriptors that it has read. Nothing here opens a library or keeps a state.

#include <QvPlatform/QvPluginSystem/QvPluginInfo.h>
#include <QvPlatform/filesystem/File.h>

#include "os/FileTrust.h"

#include <algorithm>
#include <cstddef>
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

/// Returns the plugin that a dependency means, after loading it if necessary. The host does the work:
/// - `isLoadingName(name)`, `isLoadingFile(file)`: whether a plugin of this name, or from this file, is being
///   loaded; if so, the dependency closes a cycle;
/// - `find(name)`: the file that `search` finds, or a value that converts to false;
/// - `loadedFor(dependency)`: the loaded plugin by `pickForDependency`, for a name without a file: it may
/// have
///   been loaded from outside the search directories;
/// - `load(file)`: loads the plugin unless it is loaded; null if that fails;
/// - `isUnloading(plugin)`, `infoOf(plugin)`: whether it is being unloaded; its descriptor;
/// - `refuse(reason)`: reports the failure and returns the null plugin.
template <typename Host>
auto resolve(Host& host, const QvDependency& dependency) -> decltype(host.refuse(Unmet())) {
    if (host.isLoadingName(dependency.name)) return host.refuse(Unmet::nameIsLoading);
    const auto file = host.find(dependency.name);
    if (file && host.isLoadingFile(file)) return host.refuse(Unmet::fileIsLoading);
    auto plugin = file ? host.load(file) : host.loadedFor(dependency);
    if (!plugin && !file) return host.refuse(Unmet::notFound);
    if (!plugin || host.isUnloading(plugin)) return host.refuse(Unmet::notInitialized);
    if (!satisfies(host.infoOf(plugin), dependency)) return host.refuse(Unmet::notCompatible);
    return plugin;
}

/// Releases the references of a plugin on its dependencies, in the descriptor's order. A dependency that
/// becomes unused is unloaded at once, and with it its own dependencies, before the next reference is
/// released. `releaseOne()` returns the dependency that lost a reference, and null after the last one.
template <typename ReleaseOne, typename UnloadIfUnused>
void releaseReferences(ReleaseOne releaseOne, UnloadIfUnused unloadIfUnused) {
    while (auto dependency = releaseOne()) unloadIfUnused(dependency);
}

}  // namespace QvPluginSystem::rules
