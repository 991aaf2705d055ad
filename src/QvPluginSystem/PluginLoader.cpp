// Loads a file in fixed order: open the library and read the descriptor (`describe`), ask the listeners,
// resolve the dependencies depth-first in the descriptor's order, initialize, register (`accept`).
//
// Until `accept`, the `Candidate` owns the load. If a step fails, a listener throws or the thread is
// cancelled, its destructor releases the pins on the dependencies, removes its name and file from `loading_`
// and closes the library. Dependencies that were loaded for it stay loaded.
//
// Entry points and listeners may call the manager again; such nested requests share `loading_`. It holds the
// file of each load in progress before the library is opened, and its name, ignoring case, before the
// dependencies are resolved: this is how cycles are found. A dependency stays pinned until `accept` has
// counted the candidate as its dependent, so no nested request can unload it in between.

#include "QvPluginSystem/PluginLoader.h"

#include <QvPlatform/diagnostics/Log.h>

#include "QvPluginSystem/rules/PluginRules.h"
#include "os/SharedLibrary.h"

#include <memory>
#include <utility>

namespace QvPluginSystem {

bool readDescriptor(const QvPluginFuncInterface& entryPoints, QvPluginInfo& info, std::string& reason) {
    const std::string path = info.path;
    const auto read = [&] {
        if (!entryPoints.isValid(&reason)) return false;
        entryPoints.getPluginInfo(info);
        return true;
    };
    if (!callPlugin(read, reason)) return false;
    // The plugin may have written into the fields that the manager owns.
    info.path = path;
    info.dependentCount = 0;
    info.explicitlyLoaded = false;
    return true;
}

/// A load in progress; its destructor undoes what `accept` has not taken over.
class PluginLoader::Candidate {
public:
    Candidate(PluginLoader& loader, const std::string& libraryPath, const PluginFile& libraryFile)
        : path(libraryPath), file(libraryFile), library(loader.state_.libraries), loading_(loader.loading_) {
        loading_.files.add(file, &path);
    }
    Candidate(const Candidate&) = delete;
    Candidate& operator=(const Candidate&) = delete;
    ~Candidate() {
        for (LoadedPlugin* dependency : pinned_) --dependency->pins;
        if (!foldedName_.empty()) loading_.foldedNames.erase(loading_.foldedNames.find(foldedName_));
        loading_.files.remove(file);
    }

    void announceName() {
        std::string name = rules::foldedName(plugin->name);
        loading_.foldedNames.insert(name);
        foldedName_ = std::move(name);
    }

    void addDependency(LoadedPlugin& dependency) {
        pinned_.push_back(&dependency);
        ++dependency.pins;
    }

    const std::string& path;
    const PluginFile& file;
    OpenPluginLibrary library;
    std::unique_ptr<LoadedPlugin> plugin;  // destroyed before the library that filled it

    const Qv::QvArray<LoadedPlugin*>& dependencies() const { return pinned_; }

private:
    Loading& loading_;
    Qv::QvArray<LoadedPlugin*> pinned_;
    std::string foldedName_;
};

bool PluginLoader::load(const std::string& path, Request request) {
    const PluginSearchPath::Request scope(state_.searchPath);
    const auto known = state_.searchPath.recallPath(path);
    return (known ? load(path, known->file, request) : load(path, PluginFile(path), request)) != nullptr;
}

LoadedPlugin* PluginLoader::load(const std::string& path, const PluginFile& file, Request request) {
    const PluginSearchPath::Request scope(state_.searchPath);
    const ManagerRequest underWay(state_);
    return loadFile(path, file, request);
}

LoadedPlugin* PluginLoader::loadFile(const std::string& path, const PluginFile& file, Request request) {
    Qv::LogDebug("QvPluginManager - Loading plugin file: %s\n", path.c_str());
    if (!file.isRegular()) {
        Qv::LogWarn("QvPluginManager - Error cannot find plugin file: %s\n", path.c_str());
        return nullptr;
    }
    if (LoadedPlugin* loaded = state_.registry.findByFile(file)) return reuse(*loaded, request);
    if (const std::string* first = loading_.files.find(file)) {
        state_.listeners.reportError(path, nullptr, rules::cycleMessage(*first));
        return nullptr;
    }
    return loadNew(path, file, request);
}

LoadedPlugin* PluginLoader::reuse(LoadedPlugin& loaded, Request request) const {
    if (loaded.isUnloading) {
        state_.listeners.reportError(loaded.requestedPath, &loaded, "The plugin is being unloaded");
        return nullptr;
    }
    if (request == Request::direct) loaded.explicitlyLoaded = true;
    return &loaded;
}

LoadedPlugin* PluginLoader::loadNew(const std::string& path, const PluginFile& file, Request request) {
    Candidate candidate(*this, path, file);
    if (!describe(candidate)) return nullptr;
    if (!state_.listeners.ask(&QvPluginManagerListener::onAboutToInitialize, *candidate.plugin))
        return nullptr;
    if (candidate.plugin->name.empty()) {
        fail(candidate, rules::kEmptyNameMessage);
        return nullptr;
    }
    candidate.announceName();
    if (!resolveDependencies(candidate) || !initialize(candidate)) return nullptr;
    return &accept(candidate, request);
}

bool PluginLoader::fail(const Candidate& candidate, const std::string& error) const {
    state_.listeners.reportError(candidate.path, candidate.plugin.get(), error);
    return false;
}

bool PluginLoader::describe(Candidate& candidate) const {
    const auto cannotLoad = [&](const std::string& reason) {
        return fail(candidate, rules::cannotLoadMessage(reason));
    };
    std::string reason;
    if (!candidate.library.open(candidate.file.path, reason)) {
        const os::LastErrorKeeper lastError;  // `getLastError` returns the error of opening
        return cannotLoad(reason);
    }
    auto plugin = std::make_unique<LoadedPlugin>(candidate.path, candidate.file);
    if (!readDescriptor(candidate.library.entryPoints(), *plugin, reason)) return cannotLoad(reason);
    candidate.plugin = std::move(plugin);
    return true;
}

/// Answers what `rules::resolve` asks about one dependency of a candidate.
class PluginLoader::Resolution {
public:
    using File = std::shared_ptr<const PluginSearchPath::Found>;

    Resolution(PluginLoader& loader, const Candidate& candidate, const QvDependency& dependency)
        : loader_(loader), candidate_(candidate), dependency_(dependency) {}

    bool isLoadingName(const std::string& name) const {
        return loader_.loading_.foldedNames.count(rules::foldedName(name)) != 0;
    }
    bool isLoadingFile(const File& file) const { return loader_.loading_.files.find(file->file) != nullptr; }
    File find(const std::string& name) const { return loader_.state_.searchPath.find(name); }
    LoadedPlugin* loadedFor(const QvDependency& dependency) const {
        return loader_.state_.registry.findForDependency(dependency);
    }
    LoadedPlugin* load(const File& file) const {
        return loader_.loadFile(file->path, file->file, Request::dependency);
    }
    static bool isUnloading(const LoadedPlugin* plugin) { return plugin->isUnloading; }
    static const QvPluginInfo& infoOf(const LoadedPlugin* plugin) { return *plugin; }
    LoadedPlugin* refuse(rules::Unmet reason) const {
        loader_.fail(candidate_, rules::messageFor(reason, dependency_));
        return nullptr;
    }

private:
    PluginLoader& loader_;
    const Candidate& candidate_;
    const QvDependency& dependency_;
};

bool PluginLoader::resolveDependencies(Candidate& candidate) {
    for (const QvDependency& dependency : candidate.plugin->dependencies) {
        Resolution resolution(*this, candidate, dependency);
        LoadedPlugin* resolved = rules::resolve(resolution, dependency);
        if (!resolved) return false;
        candidate.addDependency(*resolved);
    }
    return true;
}

bool PluginLoader::initialize(Candidate& candidate) const {
    Qv::LogTrace("QvPluginManager::initializePlugin - %s\n", candidate.plugin->name.c_str());
    std::string error;
    const auto call = [&] {
        return candidate.library.entryPoints().initialize(manager_, 0, nullptr, &error);
    };
    return callPlugin(call, error) || fail(candidate, error);
}

LoadedPlugin& PluginLoader::accept(Candidate& candidate, Request request) const {
    candidate.plugin->neededPlugins = candidate.dependencies();
    LoadedPlugin& plugin = state_.registry.add(std::move(candidate.plugin));
    plugin.runsCopy = candidate.library.isCopy();
    candidate.library.keep();
    plugin.explicitlyLoaded = request == Request::direct;
    for (LoadedPlugin* dependency : plugin.neededPlugins) ++dependency->dependentCount;
    Qv::LogTrace("QvPluginManager - Plugin file loaded : %s\n", candidate.path.c_str());
    return plugin;
}

QvPluginInfo PluginLoader::readInfo(const std::string& nameOrPath) const {
    const ManagerRequest underWay(state_);
    const auto found = state_.searchPath.find(nameOrPath);
    if (!found) {
        Qv::LogWarn("QvPluginManager:loadInfo - Error cannot find plugin file: %s\n", nameOrPath.c_str());
        return {};
    }
    std::string ignored;
    OpenPluginLibrary library(state_.libraries);
    if (!library.open(found->file.path, ignored)) return {};
    QvPluginInfo info(found->path);
    return readDescriptor(library.entryPoints(), info, ignored) ? info : QvPluginInfo();
}

}  // namespace QvPluginSystem
