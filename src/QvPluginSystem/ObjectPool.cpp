#include "QvPluginSystem/ObjectPool.h"

#include <QvPlatform/diagnostics/Log.h>

#include <cstddef>
#include <new>
#include <utility>

namespace QvPluginSystem {
// A list on the stack, because a removal must not fail: removals that begin later end earlier.
class ObjectPool::Leaving {
public:
    Leaving(ObjectPool& pool, const QvPluginObject* object)
        : pool_(pool), object_(object), outer_(std::exchange(pool.leaving_, this)) {}
    Leaving(const Leaving&) = delete;
    Leaving& operator=(const Leaving&) = delete;
    ~Leaving() { pool_.leaving_ = outer_; }

    static bool contains(const Leaving* newest, const QvPluginObject* object) {
        while (newest && newest->object_ != object) newest = newest->outer_;
        return newest != nullptr;
    }

private:
    ObjectPool& pool_;
    const QvPluginObject* object_;
    const Leaving* outer_;
};

void ObjectPool::add(QvPluginObject* object) {
    if (!object) {
        Qv::LogTrace("QvPluginManager::addObject(): trying to add nullptr object\n");
        return;
    }
    if (!members_.insert(object).second) {
        Qv::LogTrace("QvPluginManager::addObject(): trying to add duplicate object\n");
        return;
    }
    try {
        objects_.push_back(object);
    } catch (const std::bad_alloc&) {
        members_.erase(object);
        throw;
    }
    listeners_.tell(&QvPluginManagerListener::onObjectAdded, object);
}

void ObjectPool::remove(QvPluginObject* object) {
    if (!object) return;
    if (members_.count(object) == 0) {
        Qv::LogTrace("QvPluginManager::removeObject(): object not in list.\n");
        return;
    }
    if (Leaving::contains(leaving_, object)) return;
    const Leaving leaving(*this, object);
    listeners_.tell(&QvPluginManagerListener::onRemoveObject, object);
    takeOut(object);
}

// From both ends: objects usually leave in the order in which they came, or in reverse.
void ObjectPool::takeOut(QvPluginObject* object) {
    const std::size_t count = objects_.size();
    std::size_t fromEnd = 0;
    while (objects_[fromEnd] != object && objects_[count - 1 - fromEnd] != object) ++fromEnd;
    const std::size_t index = objects_[fromEnd] == object ? fromEnd : count - 1 - fromEnd;
    objects_.erase(objects_.begin() + static_cast<std::ptrdiff_t>(index));
    members_.erase(object);
}

}  // namespace QvPluginSystem
