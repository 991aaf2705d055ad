#include <QvPlatform/QvPluginSystem/QvPluginManagerListener.h>

namespace QvPluginSystem {

QvPluginManagerListener::QvPluginManagerListener() = default;
QvPluginManagerListener::QvPluginManagerListener(const QvPluginManagerListener&) = default;
QvPluginManagerListener& QvPluginManagerListener::operator=(const QvPluginManagerListener&) = default;
QvPluginManagerListener::~QvPluginManagerListener() = default;

void QvPluginManagerListener::onPluginError(const std::string&, const QvPluginInfo*, const std::string&) {}
bool QvPluginManagerListener::onAboutToInitialize(const QvPluginInfo&) { return true; }
bool QvPluginManagerListener::onAboutToUninitialize(const QvPluginInfo&) { return true; }
void QvPluginManagerListener::onObjectAdded(QvPluginObject*) {}
void QvPluginManagerListener::onRemoveObject(QvPluginObject*) {}
void QvPluginManagerListener::onPluginsChanged() {}

}  // namespace QvPluginSystem
