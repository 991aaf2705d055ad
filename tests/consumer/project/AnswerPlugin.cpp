#include "Answer.h"

namespace {

class FortyTwo : public Answer {
public:
    int value() const override { return 42; }
};

FortyTwo published;

}  // namespace

bool GetPluginInfo(QvPluginSystem::QvPluginInfo& info) {
    info.name = "answer";
    info.version = Qv::QvVersion(1, 2, 0, 0, "");
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
