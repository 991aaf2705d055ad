#pragma once

#include <QvPlatform/core/Export.h>

#include <string>

namespace QvPluginSystem {

class QvPluginInfo;
class QvPluginManager;

/// The entry points of one plugin library; each may be null. A plain value that does not keep the library
/// open: the pointers dangle once it is closed. Exceptions from entry points propagate.
class QV_API QvPluginFuncInterface {
public:
    using PluginSystemVersionFunc = int (*)();
    using GetPluginInfoFunc = bool (*)(QvPluginInfo& info);
    using InitializeFunc = bool (*)(QvPluginManager& manager, int argc, char** argv, std::string* error);
    using UninitializeFunc = bool (*)(QvPluginManager& manager, std::string* error);
    using GetBuildInfoFunc = const char* (*)();

    /// All null.
    QvPluginFuncInterface();
    QvPluginFuncInterface(PluginSystemVersionFunc pluginSystemVersionFunc, GetPluginInfoFunc getInfoFunc,
                          InitializeFunc initializeFunc, UninitializeFunc uninitializeFunc,
                          GetBuildInfoFunc buildInfoFunc);
    QvPluginFuncInterface(const QvPluginFuncInterface& other);
    QvPluginFuncInterface& operator=(const QvPluginFuncInterface& other);
    ~QvPluginFuncInterface();

    /// 0 if the entry is absent, which it always is for plugins loaded by the manager.
    int getPluginSystemVersion() const;
    /// Each function calls its entry point and returns the result; false if the entry is absent.
    bool getPluginInfo(QvPluginInfo& info) const;
    bool initialize(QvPluginManager& manager, int argc, char** argv, std::string* error) const;
    bool uninitialize(QvPluginManager& manager, std::string* error) const;
    /// The build-information text; "" if the entry is absent or returns null.
    std::string getBuildInfo() const;

    /// Whether the plugin may be used with this product: the entry points are present, and its build
    /// information is present and compatible. Calls the plugin's `GetPluginInfo` once. On failure writes the
    /// reason to `error`, which may be null; on success `error` is unchanged. Differences in compiler or
    /// product version are logged at DEBUG level and accepted.
    bool isValid(std::string* error) const;

private:
    PluginSystemVersionFunc pluginSystemVersion_ = nullptr;
    GetPluginInfoFunc getInfo_ = nullptr;
    InitializeFunc initialize_ = nullptr;
    UninitializeFunc uninitialize_ = nullptr;
    GetBuildInfoFunc buildInfo_ = nullptr;
};

}  // namespace QvPluginSystem
