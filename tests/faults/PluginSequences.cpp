#include <QvPlatform/QvPluginSystem/LoadSharedLibrary.h>
#include <QvPlatform/QvPluginSystem/QvPluginManager.h>
#include <QvPlatform/QvPluginSystem/QvPluginReloader.h>
#include <QvPlatform/filesystem/Filesystem.h>

#include "faults/Faults.h"

namespace faults {
namespace {

using QvPluginSystem::QvPluginManager;
using QvPluginSystem::QvPluginReloader;
using Outcome = QvPluginSystem::QvReloadResult::Outcome;

struct Listener : QvPluginSystem::QvPluginManagerListener {
    Listener() { QvPluginManager::addListener(this); }
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;
    ~Listener() override { QvPluginManager::removeListener(this); }
};

std::string plugin(const char* name) { return folder() + "plugins/" + name + ".qvp"; }

// Each plugin publishes one object, each one's dependencies are loaded, and the directories are the default
// one and those that were added.
bool isWhole() {
    const auto* manager = QvPluginManager::instance();
    const std::size_t count = manager->getPlugins().size();
    const bool needed = !manager->getPluginForName("upper") || manager->getPluginForName("lower");
    const bool areSearched =
        manager->getPluginSearchDirs().size() == manager->getAddedPluginsSearchDirs().size() + 1;
    return needed && areSearched && manager->getAllObjects().size() == count &&
           manager->getQueue().size() == count;
}

void library() {
    const QvPluginSystem::LoadSharedLibrary library(plugin("lower"));
    check(library.handle, !library.handle);
    if (library.handle) check(QvPluginSystem::getSymbolAddress(library.handle, "GetPluginInfo"), true);
    check(!QvPluginSystem::getSymbolAddress(library.handle, "noSuchName"));
    const QvPluginSystem::LoadSharedLibrary absent(plugin("absent"));
    check(!absent.handle && *QvPluginSystem::getLastError() != '\0');
}

void plugins() {
    auto* manager = QvPluginManager::instance();
    manager->reset();
    check(manager->getPlugins().empty(), true);
    const Listener listener;
    manager->addPluginSearchDir(folder() + "plugins/");
    check(manager->getAddedPluginsSearchDirs().size() == 1);
    check(manager->loadInfo("lower", "", "").name == "lower", true);
    manager->load(plugin("upper"));
    check(manager->isLoaded(plugin("upper")), !manager->getPluginForName("upper"));
    check(isWhole());
    manager->loadAllQvp();
    check(manager->getPlugins().size() == 2, true);
    check(isWhole());
    { const QvPluginReloader copying; }
    if (auto* upper = manager->getPluginForName("upper"))
        check(manager->getDependencyPlugins(upper).size() == 2);
    check(manager->unload("upper"), true);
    check(isWhole());
    manager->unloadAll();
    check(manager->getPlugins().empty(), true);
    check(isWhole());
}

// Unloads what a failure left loaded: Windows does not let its file be removed.
void verifyWhole() {
    check(isWhole());
    QvPluginManager::instance()->reset();
    check(QvPluginManager::instance()->getPlugins().empty());
}

void reloader() {
    auto* manager = QvPluginManager::instance();
    manager->reset();
    QvPluginReloader reloader;
    const Listener listener;
    manager->addPluginSearchDir(folder() + "plugins/");
    check(reloader.watch(QvPluginReloader::NewFiles::load), true);
    manager->load(plugin("upper"));
    check(isWhole());
    const bool isLoaded = manager->getPluginForName("upper");
    check(isLoaded, true);
    const QvPlatform::File changed(folder() + "lower.new");
    const bool isCopied = QvPlatform::Filesystem::copy(changed, QvPlatform::File(plugin("lower")), true);
    check(isCopied, true);
    const auto result = reloader.reload("lower");
    check(result.outcome == Outcome::reloaded, result.outcome >= Outcome::unchanged);
    check(!isLoaded || result.outcome == Outcome::lost || manager->getPluginForName("upper"));
    check(result.outcome <= Outcome::unchanged || !result.reason.empty());
    check(!result.text().empty());
    check(isWhole());
    for (const auto& polled : reloader.poll()) check(bool(polled), true);
    check(isWhole());
    manager->unloadAll();
    check(manager->getPlugins().empty(), true);
}

}  // namespace

const Family kPluginFamilies[] = {
    {"library", library}, {"plugins", plugins, verifyWhole}, {"reloader", reloader, verifyWhole}};

}  // namespace faults
