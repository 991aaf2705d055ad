#include <QvPlatform/QvPluginSystem/QvPluginReloader.h>

namespace QvPluginSystem {

bool QvPluginReloader::watch(NewFiles /*newFiles*/, std::string* /*error*/) { return false; }

Qv::QvArray<QvReloadResult> QvPluginReloader::poll() { return {}; }

}  // namespace QvPluginSystem
