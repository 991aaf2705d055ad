#include "QvPluginSystem/ObjectPool.h"

#include <QvPlatform/diagnostics/Log.h>

#include <algorithm>
#include <cstddef>

namespace QvPluginSystem {
namespace {

// An element at an array's end for as long as it lives; others that come later go earlier.
class ScopedLast {
public:
    ScopedLast(Qv::QvArray<QvPluginObject*>& array, QvPluginObject* object) : array_(array) {
        array_.push_back(object);
    }
    ScopedLast(const ScopedLast&) = delete;
    ScopedLast& operator=(const ScopedLast&) = delete;
    ~ScopedLast() { array_.pop_back(); }

private:
    Qv::QvArray<QvPluginObject*>& array_;
};

}  // namespace

void ObjectPool::add(QvPluginObject* object) {
    if (!object) {
        Qv::LogTrace("QvPluginManager::addObject(): trying to add nullptr object\n");
        return;
    }
    if (!members_.insert(object).second) {
        Qv::LogTrace("QvPluginManager::addObject(): trying to add duplicate object\n");
        return;
    }
    objects_.push_back(object);
    listeners_.tell(&QvPluginManagerListener::onObjectAdded, object);
}

void ObjectPool::remove(QvPluginObject* object) {
    if (!object) return;
    if (members_.count(object) == 0) {
        Qv::LogTrace("QvPluginManager::removeObject(): object not in list.\n");
        return;
    }
    if (std::find(leaving_.begin(), leaving_.end(), object) != leaving_.end()) return;
    const ScopedLast leaving(leaving_, object);
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
