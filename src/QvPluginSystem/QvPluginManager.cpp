#include <QvPlatform/QvPluginSystem/QvPluginManager.h>

#include <QvPlatform/diagnostics/Log.h>
#include <QvPlatform/diagnostics/QvAssert.h>

#include "QvPluginSystem/PluginGraph.h"
#include "QvPluginSystem/PluginManagerState.h"
#include "QvPluginSystem/rules/PluginRules.h"
#include "diagnostics/log/LogQuietly.h"

namespace QvPluginSystem {
namespace {

// Asked before the manager is made and after it is gone.
constinit bool instanceExists = false;

}  // namespace

QvPluginManager::QvPluginManager() : state_(std::make_unique<State>(*this, !instanceExists)) {
    Qv::QvAssertImplementation("QvPluginManager", __LINE__, state_->isFirst,
                               "Only one instance of the QvPluginManager class must exist.");
    instanceExists = true;
}

QvPluginManager::~QvPluginManager() {
    if (state_->isFirst) instanceExists = false;
    const std::size_t left = getAllObjects().size();
    if (left == 0) return;
    Qv::detail::logQuietly([=] {
        Qv::LogDebug("There are %d objects left in the plugin manager's object pool.\n",
                     static_cast<int>(left));
    });
}

QvPluginManager* QvPluginManager::instance() {
    static QvPluginManager manager;
    return &manager;
}

void QvPluginManager::reset() {
    if (!instanceExists) return;
    instance()->unloadAll();
    instance()->resetPluginSearchDirs();
}

const Qv::QvArray<std::string>& QvPluginManager::getPluginSearchDirs() const {
    return state_->shared.searchPath.effective();
}

const Qv::QvArray<std::string>& QvPluginManager::getAddedPluginsSearchDirs() const {
    return state_->shared.searchPath.added();
}

bool QvPluginManager::addPluginSearchDir(const std::string& dir) {
    return state_->shared.searchPath.add(dir);
}

bool QvPluginManager::removePluginSearchDir(const std::string& dir) {
    return state_->shared.searchPath.remove(dir);
}

void QvPluginManager::resetPluginSearchDirs() { state_->shared.searchPath.reset(); }

void QvPluginManager::setRefusesUnsafeFiles(bool refuses) {
    state_->shared.libraries.setRefusesUnsafeFiles(refuses);
}

const Qv::QvArray<QvPluginInfo*>& QvPluginManager::getPlugins() const {
    return state_->shared.registry.plugins();
}

QvPluginInfo* QvPluginManager::getPluginForName(const std::string& name) const {
    return state_->shared.registry.findByName(name);
}

QvPluginInfo* QvPluginManager::getPluginForPath(const std::string& path) const {
    return state_->shared.registry.findByPath(path);
}

bool QvPluginManager::isLoaded(const std::string& path) const { return getPluginForPath(path) != nullptr; }

Qv::QvArray<QvPluginInfo*> QvPluginManager::getQueue() const { return queueOf(state_->shared.registry); }

Qv::QvArray<QvPluginInfo*> QvPluginManager::getDependencyPlugins(QvPluginInfo* info) const {
    return dependenciesOf(state_->shared.registry, info);
}

Qv::QvArray<QvPluginInfo*> QvPluginManager::getProvidedPlugins(QvPluginInfo* info) const {
    return dependentsOf(state_->shared.registry, info);
}

bool QvPluginManager::load(const std::string& path) {
    const std::string request = path;  // it may be a text that loading changes
    if (state_->loader.load(request, PluginLoader::Request::direct))
        state_->shared.listeners.tell(&QvPluginManagerListener::onPluginsChanged);
    return getPluginForName(request) != nullptr;
}

void QvPluginManager::load(const Qv::QvArray<std::string>& paths) {
    const PluginSearchPath::Request request(state_->shared.searchPath);
    bool anyLoaded = false;
    for (const std::string& path : Qv::QvArray<std::string>(paths))
        anyLoaded = state_->loader.load(path, PluginLoader::Request::direct) || anyLoaded;
    if (anyLoaded) state_->shared.listeners.tell(&QvPluginManagerListener::onPluginsChanged);
}

void QvPluginManager::loadAllQvp() {
    const PluginSearchPath::Request request(state_->shared.searchPath);
    for (const std::string& directory : Qv::QvArray<std::string>(getPluginSearchDirs())) {
        Qv::LogTrace("QvPluginManager::loadFromDirs(): Loading plugin from %s\n", directory.c_str());
        // The whole list first: a plugin may change the directories and the files.
        for (const QvPlatform::File& file : rules::pluginFilesIn(directory)) {
            const std::string path = file.toUniversalPath();
            Qv::LogTrace("QvPluginManager::findSharedLibraries(): Found candidate plugin: %s\n",
                         path.c_str());
            load(path);
        }
    }
}

QvPluginInfo QvPluginManager::loadInfo(const std::string& file, const std::string&,
                                       const std::string&) const {
    return state_->loader.readInfo(file);
}

bool QvPluginManager::unload(const std::string& name) {
    const PluginUnloader::Result result = state_->unloader.unload(name);
    if (result == PluginUnloader::Result::unloaded)
        state_->shared.listeners.tell(&QvPluginManagerListener::onPluginsChanged);
    return result != PluginUnloader::Result::stays;
}

void QvPluginManager::unload(const Qv::QvArray<std::string>& names) {
    for (const std::string& name : Qv::QvArray<std::string>(names)) unload(name);
}

void QvPluginManager::unloadAll() {
    Qv::QvArray<std::string> names;
    for (const QvPluginInfo* info : getPlugins()) names.push_back(info->name);
    for (const std::string& name : names) unload(name);
}

void QvPluginManager::addListener(QvPluginManagerListener* listener) {
    instance()->state_->shared.listeners.add(listener);
}

void QvPluginManager::removeListener(QvPluginManagerListener* listener) {
    if (instanceExists) instance()->state_->shared.listeners.remove(listener);
}

void QvPluginManager::addObject(QvPluginObject* object) { state_->shared.pool.add(object); }

void QvPluginManager::removeObject(QvPluginObject* object) {
    if (instanceExists) state_->shared.pool.remove(object);
}

const Qv::QvArray<QvPluginObject*>& QvPluginManager::getAllObjects() const {
    return state_->shared.pool.objects();
}

}  // namespace QvPluginSystem
