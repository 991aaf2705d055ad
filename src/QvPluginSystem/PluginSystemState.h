#pragma once

#include "QvPluginSystem/ListenerList.h"
#include "QvPluginSystem/ObjectPool.h"
#include "QvPluginSystem/PluginLibraryTable.h"
#include "QvPluginSystem/PluginRegistry.h"
#include "QvPluginSystem/PluginSearchPath.h"
#include "base/ForcedUnwind.h"

#include <exception>
#include <string>

namespace QvPluginSystem {

/// What the manager's services share.
struct PluginSystemState {
    PluginRegistry registry;
    PluginLibraryTable libraries;
    PluginSearchPath searchPath;
    ListenerList listeners;
    ObjectPool pool{listeners};
    int requests = 0;  ///< to load, unload or describe plugins that are under way

    bool isBusy() const { return requests > 0 || listeners.isCalling(); }
};

/// Counts one request for as long as it lives.
class ManagerRequest {
public:
    explicit ManagerRequest(PluginSystemState& state) : state_(state) { ++state_.requests; }
    ManagerRequest(const ManagerRequest&) = delete;
    ManagerRequest& operator=(const ManagerRequest&) = delete;
    ~ManagerRequest() { --state_.requests; }

private:
    PluginSystemState& state_;
};

/// Calls into a plugin. What it throws counts as false, its text in `error`: the exception's own memory
/// may go with the plugin's library. A thread that ends in there passes.
template <typename Call>
bool callPlugin(Call call, std::string& error) {
    try {
        return call();
    } catch (const base::ForcedUnwind&) {
        throw;
    } catch (const std::exception& exception) {
        error = exception.what();
    } catch (...) {
        error = "unknown exception";
    }
    return false;
}

}  // namespace QvPluginSystem
