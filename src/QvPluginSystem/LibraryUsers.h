#pragma once

#include "QvPluginSystem/ListenerList.h"
#include "QvPluginSystem/ObjectPool.h"

#include <string>

namespace QvPluginSystem {

/// What would crash if an open library were closed now, in words: objects and listeners whose code it
/// contains, and other threads that are in one of its functions. "" if nothing was found.
std::string usersOf(const void* library, const ObjectPool& pool, const ListenerList& listeners);

}  // namespace QvPluginSystem
