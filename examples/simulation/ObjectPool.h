#pragma once

// Publishing an object through the plugin manager's pool, and finding one there.

#include <QvPlatform/QvPluginSystem/QvPlugin.h>

#include <memory>
#include <stdexcept>
#include <utility>

namespace simulation {

/// The first published object of class `T`. Throws when there is none: out of an `InitializePlugin` that
/// fails the plugin, with the text as the reason.
template <typename T>
T& findObject(const QvPluginSystem::QvPluginManager& manager) {
    for (auto* object : manager.getAllObjects())
        if (auto* found = dynamic_cast<T*>(object)) return *found;
    throw std::runtime_error("a needed object is not in the pool");
}

/// The object that a plugin publishes between its initialization and its uninitialization. Its code lies in
/// the plugin, so it must be withdrawn and destroyed before the plugin's library is closed.
template <typename T>
class PublishedObject {
public:
    template <typename... Args>
    void publish(QvPluginSystem::QvPluginManager& manager, Args&&... args) {
        object_ = std::make_unique<T>(std::forward<Args>(args)...);
        manager.addObject(object_.get());
    }

    void withdraw(QvPluginSystem::QvPluginManager& manager) {
        manager.removeObject(object_.get());
        object_.reset();
    }

    /// Only while it is published.
    T& get() { return *object_; }

private:
    std::unique_ptr<T> object_;
};

}  // namespace simulation
