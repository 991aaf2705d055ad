// Loads a file in fixed order: open the library and read the descriptor (`describe`), ask the listeners,
// resolve the dependencies depth-first in the descriptor's order, initialize, register (`accept`). A `Chain`
// holds the candidates of one request: the plugin, the dependency that is loaded for it, and so on.
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

#include <deque>
#include <memory>
#include <new>
#include <optional>
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
    Candidate(PluginLoader& loader, const std::string& libraryPath, const PluginFile& libraryFile,
              Request reason)
        : path(libraryPath),
          ownFile(libraryFile),
          request(reason),
          library(loader.state_.libraries),
          loading_(loader.loading_) {
        loading_.files.add(ownFile, &path);
    }
    Candidate(const Candidate&) = delete;
    Candidate& operator=(const Candidate&) = delete;
    ~Candidate() {
        for (LoadedPlugin* dependency : pinned_) --dependency->pins;
        if (!foldedName_.empty()) loading_.foldedNames.erase(loading_.foldedNames.find(foldedName_));
        loading_.files.remove(ownFile);
    }

    void announceName() {
        std::string name = rules::foldedName(plugin->name);
        loading_.foldedNames.insert(name);
        foldedName_ = std::move(name);
    }

    const QvDependency* dependency() const {
        const auto& all = plugin->dependencies;
        return pinned_.size() < all.size() ? &all[pinned_.size()] : nullptr;
    }
    void addDependency(LoadedPlugin& dependency) {
        pinned_.push_back(&dependency);
        ++dependency.pins;
    }
    const Qv::QvArray<LoadedPlugin*>& dependencies() const { return pinned_; }

    const std::string& path;
    const PluginFile& ownFile;
    const Request request;
    std::shared_ptr<const PluginSearchPath::Found> file;  // that the first dependency to be met has
    OpenPluginLibrary library;
    std::unique_ptr<LoadedPlugin> plugin;  // destroyed before the library that filled it

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

/// The loads for one request, each for a dependency of the one before it; see `rules::load`.
class PluginLoader::Chain {
public:
    using File = std::shared_ptr<const PluginSearchPath::Found>;
    using Answer = std::optional<LoadedPlugin*>;

    explicit Chain(PluginLoader& loader) : loader_(loader) {}
    Chain(const Chain&) = delete;
    Chain& operator=(const Chain&) = delete;
    ~Chain() {
        while (!candidates_.empty()) candidates_.pop_back();  // the last one first
    }

    Answer begin(const std::string& path, const PluginFile& file, Request request);
    Answer begin(const File& file) { return begin(file->path, file->file, Request::dependency); }
    Candidate* innermost() { return candidates_.empty() ? nullptr : &candidates_.back(); }

    bool isLoadingName(const std::string& name) const {
        return loader_.loading_.foldedNames.count(rules::foldedName(name)) != 0;
    }
    bool isLoadingFile(const File& file) const { return loader_.loading_.files.find(file->file) != nullptr; }
    File find(const std::string& name) const { return loader_.state_.searchPath.find(name); }
    Answer loadedFor(const QvDependency& dependency) const {
        return loader_.state_.registry.findForDependency(dependency);
    }
    static bool isUnloading(const LoadedPlugin* plugin) { return plugin->isUnloading; }
    static const QvPluginInfo& infoOf(const LoadedPlugin* plugin) { return *plugin; }

    void meet(LoadedPlugin* plugin) { candidates_.back().addDependency(*plugin); }
    void refuse(rules::Unmet reason) {
        const Candidate& candidate = candidates_.back();
        loader_.fail(candidate, rules::messageFor(reason, *candidate.dependency()));
        candidates_.pop_back();
    }
    LoadedPlugin* complete() {
        Candidate& candidate = candidates_.back();
        LoadedPlugin* const plugin = loader_.initialize(candidate) ? loader_.accept(candidate) : nullptr;
        candidates_.pop_back();
        return plugin;
    }

private:
    PluginLoader& loader_;
    std::deque<Candidate> candidates_;  // never moved
};

PluginLoader::Chain::Answer PluginLoader::Chain::begin(const std::string& path, const PluginFile& file,
                                                       Request request) {
    constexpr LoadedPlugin* kNone = nullptr;
    Qv::LogDebug("QvPluginManager - Loading plugin file: %s\n", path.c_str());
    if (!file.isRegular()) {
        Qv::LogWarn("QvPluginManager - Error cannot find plugin file: %s\n", path.c_str());
        return kNone;
    }
    if (LoadedPlugin* loaded = loader_.state_.registry.findByFile(file))
        return loader_.reuse(*loaded, request);
    if (const std::string* first = loader_.loading_.files.find(file)) {
        loader_.state_.listeners.reportError(path, nullptr, rules::cycleMessage(*first));
        return kNone;
    }
    if (loader_.prepare(candidates_.emplace_back(loader_, path, file, request))) return std::nullopt;
    candidates_.pop_back();
    return kNone;
}

LoadedPlugin* PluginLoader::load(const std::string& path, const PluginFile& file, Request request) {
    const PluginSearchPath::Request scope(state_.searchPath);
    const ManagerRequest underWay(state_);
    Chain chain(*this);
    return rules::load(chain, chain.begin(path, file, request));
}

LoadedPlugin* PluginLoader::reuse(LoadedPlugin& loaded, Request request) const {
    if (loaded.isUnloading) {
        state_.listeners.reportError(loaded.requestedPath, &loaded, "The plugin is being unloaded");
        return nullptr;
    }
    if (request == Request::direct) loaded.explicitlyLoaded = true;
    return &loaded;
}

bool PluginLoader::prepare(Candidate& candidate) const {
    if (!describe(candidate)) return false;
    if (!state_.listeners.ask(&QvPluginManagerListener::onAboutToInitialize, *candidate.plugin)) return false;
    if (candidate.plugin->name.empty()) return fail(candidate, rules::kEmptyNameMessage);
    candidate.announceName();
    return true;
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
    if (!candidate.library.open(candidate.ownFile.path, reason)) {
        const os::LastErrorKeeper lastError;  // `getLastError` returns the error of opening
        return cannotLoad(reason);
    }
    auto plugin = std::make_unique<LoadedPlugin>(candidate.path, candidate.ownFile);
    if (!readDescriptor(candidate.library.entryPoints(), *plugin, reason)) return cannotLoad(reason);
    candidate.plugin = std::move(plugin);
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

// If memory runs out, the plugin is uninitialized again before its library is closed.
LoadedPlugin* PluginLoader::accept(Candidate& candidate) const {
    LoadedPlugin* plugin = nullptr;
    try {
        candidate.plugin->neededPlugins = candidate.dependencies();
        plugin = &state_.registry.add(std::move(candidate.plugin));
    } catch (const std::bad_alloc&) {
        std::string ignored;
        callPlugin([&] { return candidate.library.entryPoints().uninitialize(manager_, &ignored); }, ignored);
        throw;
    }
    plugin->runsCopy = candidate.library.isCopy();
    candidate.library.keep();
    plugin->explicitlyLoaded = candidate.request == Request::direct;
    for (LoadedPlugin* dependency : plugin->neededPlugins) ++dependency->dependentCount;
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
