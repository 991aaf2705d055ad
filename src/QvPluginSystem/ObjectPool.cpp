#include "QvPluginSystem/ObjectPool.h"

#include <QvPlatform/diagnostics/Log.h>

#include <algorithm>
#include <iterator>

namespace QvPluginSystem {
namespace {

class ScopedMember {
public:
    ScopedMember(std::unordered_set<QvPluginObject*>& set, QvPluginObject* object) : set_(set), object_(object) {
        set_.insert(object_);
    }
    ScopedMember(const ScopedMember&) = delete;
    ScopedMember& operator=(const ScopedMember&) = delete;
    ~ScopedMember() { set_.erase(object_); }

private:
    std::unordered_set<QvPluginObject*>& set_;
    QvPluginObject* object_;
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
    if (leaving_.count(object) != 0) return;
    const ScopedMember leaving(leaving_, object);
    listeners_.tell(&QvPluginManagerListener::onRemoveObject, object);
    takeOut(object);
}

// From the back: what was published last usually goes first.
void ObjectPool::takeOut(QvPluginObject* object) {
    const auto found = std::find(objects_.rbegin(), objects_.rend(), object);
    objects_.erase(std::next(found).base());
    members_.erase(object);
}

}  // namespace QvPluginSystem
