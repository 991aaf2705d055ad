#include <QvPlatform/QvPluginSystem/QvPluginObject.h>

namespace QvPluginSystem {

QvPluginObject::QvPluginObject() = default;
QvPluginObject::QvPluginObject(const QvPluginObject&) = default;
QvPluginObject& QvPluginObject::operator=(const QvPluginObject&) = default;
QvPluginObject::~QvPluginObject() = default;

}  // namespace QvPluginSystem
