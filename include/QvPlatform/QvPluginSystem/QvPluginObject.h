#pragma once

#include <QvPlatform/core/Export.h>

namespace QvPluginSystem {

/// Base of the objects that plugins publish through `QvPluginManager::addObject`. Clients identify them with
/// `dynamic_cast`; a class that is cast across library boundaries should have default visibility. The manager
/// never deletes an object.
class QV_API QvPluginObject {
public:
    QvPluginObject();
    QvPluginObject(const QvPluginObject& other);
    QvPluginObject& operator=(const QvPluginObject& other);
    virtual ~QvPluginObject();
};

}  // namespace QvPluginSystem
