#include "QvPluginSystem/ListenerList.h"

#include <QvPlatform/diagnostics/Log.h>

#include <algorithm>

namespace QvPluginSystem {

void ListenerList::add(QvPluginManagerListener* listener) {
    if (listener && std::find(listeners_.begin(), listeners_.end(), listener) == listeners_.end())
        listeners_.push_back(listener);
}

void ListenerList::remove(QvPluginManagerListener* listener) {
    const auto found = std::find(listeners_.begin(), listeners_.end(), listener);
    if (found != listeners_.end()) listeners_.erase(found);
}

void ListenerList::reportError(const std::string& file, const QvPluginInfo* info,
                               const std::string& error) const {
    tell(&QvPluginManagerListener::onPluginError, file, info, error);
    Qv::LogWarn("QvPluginManager - Error %s on file %s.\n", error.c_str(), file.c_str());
}

}  // namespace QvPluginSystem
