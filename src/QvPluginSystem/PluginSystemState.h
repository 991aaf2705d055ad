#pragma once

#include "QvPluginSystem/ListenerList.h"
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
