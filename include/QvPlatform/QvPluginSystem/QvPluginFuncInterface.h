#pragma once

#include <QvPlatform/core/Export.h>

#include <string>

namespace QvPluginSystem {

class QvPluginInfo;
class QvPluginManager;

/// The entry points of one plugin library; each may be null. A plain value that does not keep the
/// library open: the pointers dangle once it is closed. What an entry point throws passes through.
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

    /// 0 when the entry is absent; it is for plugins that the manager loads.
    int getPluginSystemVersion() const;
    /// Each calls its entry point and returns the result; false when the entry is absent.
    bool getPluginInfo(QvPluginInfo& info) const;
    bool initialize(QvPluginManager& manager, int argc, char** argv, std::string* error) const;
    bool uninitialize(QvPluginManager& manager, std::string* error) const;
    /// The build-information text; "" when the entry is absent or yields null.
    std::string getBuildInfo() const;

    /// Whether the plugin may be used with this product: entry points present, build information given and
    /// compatible. Calls the plugin's `GetPluginInfo` once. On failure the reason is written to `error`
    /// (null is allowed), which is untouched on success. Differences of compiler and product version are
    /// logged at debug level and do not reject.
    bool isValid(std::string* error) const;

private:
    PluginSystemVersionFunc pluginSystemVersion_ = nullptr;
    GetPluginInfoFunc getInfo_ = nullptr;
    InitializeFunc initialize_ = nullptr;
    UninitializeFunc uninitialize_ = nullptr;
    GetBuildInfoFunc buildInfo_ = nullptr;
};

}  // namespace QvPluginSystem
