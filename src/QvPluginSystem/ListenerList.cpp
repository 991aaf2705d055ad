#include "QvPluginSystem/ListenerList.h"

#include <QvPlatform/diagnostics/Log.h>

#include "base/Shortened.h"

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
    const std::string shown = base::shortened(error, 8192);
    Qv::LogWarn("QvPluginManager - Error %s on file %s.\n", shown.c_str(), file.c_str());
}

}  // namespace QvPluginSystem
