// A plugin that links to a private library and lacks an entry point that the library defines.

#include <QvPlatform/QvPluginSystem/QvPlugin.h>

extern "C" int helperAnswer();

bool GetPluginInfo(QvPluginSystem::QvPluginInfo& info) {
    info.name = "linked";
    return true;
}

bool InitializePlugin(QvPluginSystem::QvPluginManager&, int, char**, std::string*) {
    return helperAnswer() == 42;
}

#ifdef COMPLETE
bool UninitializePlugin(QvPluginSystem::QvPluginManager&, std::string*) { return true; }
#endif

const char* GetPluginBuildInfo() { return QV_PLUGIN_BUILD_INFO; }
