// A plugin that does nothing. Its target states the name, the plugin that it needs, if any, and the build
// that it claims to come from, if not the true one: enough to see how the manager keeps plugins out.

#include <QvPlatform/QvPluginSystem/QvPlugin.h>

bool GetPluginInfo(QvPluginSystem::QvPluginInfo& info) {
    info.name = STUB_NAME;
    info.version = Qv::QvVersion(1, 0, 0, 0, "");
#ifdef STUB_NEEDS
    info.addDependency({STUB_NEEDS, Qv::QvVersion(STUB_NEEDED_VERSION)});
#endif
    return true;
}

bool InitializePlugin(QvPluginSystem::QvPluginManager&, int, char**, std::string*) { return true; }

bool UninitializePlugin(QvPluginSystem::QvPluginManager&, std::string*) { return true; }

const char* GetPluginBuildInfo() {
#ifdef STUB_FOREIGN_DEBUG_BUILD
    return "CompilerName:MSVC\nCompilerVersion:1900\nRelease:0\n";
#else
    return QV_PLUGIN_BUILD_INFO;
#endif
}
