#pragma once

#include "QvPluginSystem/PluginRegistry.h"

/// Walks over the loaded plugins' dependencies by exact name; each visits a plugin and a dependency once.
namespace QvPluginSystem {

/// All loaded plugins, each after those it depends on.
Qv::QvArray<QvPluginInfo*> queueOf(const PluginRegistry& registry);

/// What `info` depends on, directly and indirectly, dependencies first and `info` last.
Qv::QvArray<QvPluginInfo*> dependenciesOf(const PluginRegistry& registry, QvPluginInfo* info);

/// `info`, then those after it in the queue that depend on it, directly and indirectly.
Qv::QvArray<QvPluginInfo*> dependentsOf(const PluginRegistry& registry, QvPluginInfo* info);

}  // namespace QvPluginSystem
