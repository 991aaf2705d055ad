// A plugin without the entry point that the build names.

#include <QvPlatform/QvPluginSystem/QvPlugin.h>

#ifndef WITHOUT_INFO
bool GetPluginInfo(QvPluginSystem::QvPluginInfo& info) {
    info.name = "incomplete";
    return true;
}
#endif

#ifndef WITHOUT_INITIALIZE
bool InitializePlugin(QvPluginSystem::QvPluginManager&, int, char**, std::string*) { return true; }
#endif

#ifndef WITHOUT_UNINITIALIZE
bool UninitializePlugin(QvPluginSystem::QvPluginManager&, std::string*) { return true; }
#endif

#ifdef NULL_BUILD_INFO
const char* GetPluginBuildInfo() { return nullptr; }
#elif !defined(WITHOUT_BUILD_INFO)
const char* GetPluginBuildInfo() { return QV_PLUGIN_BUILD_INFO; }
#endif
