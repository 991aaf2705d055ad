#include <QvPlatform/QvPluginSystem/QvPlugin.h>

#include <iostream>

bool GetPluginInfo(QvPluginSystem::QvPluginInfo& info) {
    info.name = "hello";
    info.version = Qv::QvVersion(1, 0, 0, 0, "");
    return true;
}

bool InitializePlugin(QvPluginSystem::QvPluginManager&, int, char**, std::string*) {
    std::cout << "Hello from a plugin.\n";
    return true;
}

bool UninitializePlugin(QvPluginSystem::QvPluginManager&, std::string*) {
    std::cout << "Goodbye from a plugin.\n";
    return true;
}

const char* GetPluginBuildInfo() { return QV_PLUGIN_BUILD_INFO; }
