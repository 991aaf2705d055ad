// A plugin without static initializers that allocate, which publishes an object and keeps a state. The build
// sets its name and the one that it needs.

#include <QvPlatform/QvPluginSystem/QvPlugin.h>

namespace {

QvPluginSystem::QvPluginObject published;

}  // namespace

bool GetPluginInfo(QvPluginSystem::QvPluginInfo& info) {
    info.name = PLUGIN_NAME;
    info.description = "a description that a string does not hold itself";
#ifdef PLUGIN_NEEDS
    info.addDependency({PLUGIN_NEEDS, Qv::QvVersion()});
#endif
    return true;
}

bool InitializePlugin(QvPluginSystem::QvPluginManager& manager, int, char**, std::string*) {
    manager.addObject(&published);
    return true;
}

bool UninitializePlugin(QvPluginSystem::QvPluginManager& manager, std::string*) {
    manager.removeObject(&published);
    return true;
}

const char* GetPluginBuildInfo() { return QV_PLUGIN_BUILD_INFO; }

bool SavePluginState(std::string* state) {
    *state = "a state that a string does not hold itself";
    return true;
}

bool RestorePluginState(const std::string& state) { return state.size() > 15; }
