#pragma once

#include <QvPlatform/QvPluginSystem/QvPluginObject.h>
#include <QvPlatform/core/QvArray.h>

#include "QvPluginSystem/ListenerList.h"

#include <unordered_set>

namespace QvPluginSystem {

/// The objects that plugins publish, oldest first; not owned. Listeners are notified of each addition and
/// removal.
class ObjectPool {
public:
    explicit ObjectPool(const ListenerList& listeners) : listeners_(listeners) {}

    const Qv::QvArray<QvPluginObject*>& objects() const { return objects_; }

    void add(QvPluginObject* object);
    void remove(QvPluginObject* object);

private:
    class Leaving;

    void takeOut(QvPluginObject* object);

    const ListenerList& listeners_;
    Qv::QvArray<QvPluginObject*> objects_;
    std::unordered_set<QvPluginObject*> members_;
    const Leaving* leaving_ = nullptr;  // the newest of those whose removal the listeners are hearing of
};

}  // namespace QvPluginSystem
