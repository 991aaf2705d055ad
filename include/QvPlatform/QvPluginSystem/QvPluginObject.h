#pragma once

#include <QvPlatform/core/Export.h>

namespace QvPluginSystem {

/// Base of the objects that plugins publish through `QvPluginManager::addObject`. Clients find what they
/// look for with `dynamic_cast`; a class that crosses a library's border that way is best declared with
/// default visibility. The manager never deletes an object.
class QV_API QvPluginObject {
public:
    QvPluginObject();
    QvPluginObject(const QvPluginObject& other);
    QvPluginObject& operator=(const QvPluginObject& other);
    virtual ~QvPluginObject();
};

}  // namespace QvPluginSystem
