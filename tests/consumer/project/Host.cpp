#include "Answer.h"

#include <QvPlatform/QvPluginSystem/QvPluginManager.h>
#include <QvPlatform/diagnostics/Log.h>

#include <iostream>
#include <stdexcept>

// Loads the given plugin and uses its object. Types and exceptions cross the boundaries of three modules.
int main(int, char** argv) try {
    Qv::LogSetLevel(Qv::kLogLevelWarn);
    auto* manager = QvPluginSystem::QvPluginManager::instance();
    manager->load(std::string(argv[1]));
    const auto* plugin = manager->getPluginForName("answer");
    if (!plugin) return 1;
    for (auto* object : manager->getAllObjects())
        if (const auto* answer = dynamic_cast<const Answer*>(object))
            std::cout << plugin->getName() << ' ' << plugin->getVersion().toString() << " says "
                      << answer->value() << std::endl;
    if (!manager->unload("answer")) return 2;
    Qv::LogError("this error is expected\n");
    return 3;
} catch (const std::runtime_error&) {
    return 0;
}
