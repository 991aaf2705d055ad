// Loads every plugin of a directory: the one given as argument, or "hello-plugins" next to this program.

#include <QvPlatform/QvPluginSystem/QvPluginManager.h>
#include <QvPlatform/diagnostics/Log.h>
#include <QvPlatform/filesystem/Directory.h>

#include <iostream>

int main(int argc, char** argv) {
    using QvPlatform::Directory;
    const Directory here(Directory::kExecutableDirectory);
    const Directory plugins = argc > 1 ? Directory(argv[1]) : here.directory("hello-plugins");

    Qv::LogSetLevel(Qv::kLogLevelWarn);
    auto* manager = QvPluginSystem::QvPluginManager::instance();
    manager->addPluginSearchDir(plugins.toUniversalPath());
    manager->loadAllQvp();
    for (const auto* plugin : manager->getPlugins())
        std::cout << "Loaded " << plugin->getName() << ' ' << plugin->getVersion().toString() << '\n';

    const bool anyLoaded = !manager->getPlugins().empty();
    manager->unloadAll();
    return anyLoaded && manager->getPlugins().empty() ? 0 : 1;
}
