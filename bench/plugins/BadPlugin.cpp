// A plugin that never gets to be one, by what it does while it is opened.

#include <QvPlatform/QvPluginSystem/QvPlugin.h>

#include <unistd.h>

#include <csignal>

#if defined(NEEDS_ABSENT)
extern "C" int absent();
const int opened = absent();
#elif defined(CRASHES)
const int opened = std::raise(SIGSEGV);
#else
const int opened = [] {
    for (;;) pause();
    return 0;
}();
#endif

bool GetPluginInfo(QvPluginSystem::QvPluginInfo& info) {
    info.name = "bad";
    return true;
}

bool InitializePlugin(QvPluginSystem::QvPluginManager&, int, char**, std::string*) { return true; }

bool UninitializePlugin(QvPluginSystem::QvPluginManager&, std::string*) { return true; }

const char* GetPluginBuildInfo() { return QV_PLUGIN_BUILD_INFO; }
