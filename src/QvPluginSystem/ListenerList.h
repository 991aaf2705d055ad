#pragma once

#include <QvPlatform/QvPluginSystem/QvPluginManagerListener.h>
#include <QvPlatform/core/QvArray.h>

#include <string>

namespace QvPluginSystem {

/// The manager's listeners in the order of their registration, not owned. Each notice walks the list by
/// index and reads its length anew, since a listener may come or go meanwhile.
class ListenerList {
public:
    void add(QvPluginManagerListener* listener);
    void remove(QvPluginManagerListener* listener);

    template <typename... Parameters, typename... Arguments>
    void tell(void (QvPluginManagerListener::*notice)(Parameters...), const Arguments&... arguments) const {
        for (std::size_t i = 0; i < listeners_.size(); ++i) (listeners_[i]->*notice)(arguments...);
    }

    /// Calls every listener, whatever the others return; true if none returned false.
    bool ask(bool (QvPluginManagerListener::*question)(const QvPluginInfo&), const QvPluginInfo& info) const {
        bool agreed = true;
        for (std::size_t i = 0; i < listeners_.size(); ++i)
            agreed = (listeners_[i]->*question)(info) && agreed;
        return agreed;
    }

    /// Tells the listeners of a plugin's failure and then logs it; `info` may be null.
    void reportError(const std::string& file, const QvPluginInfo* info, const std::string& error) const;

private:
    Qv::QvArray<QvPluginManagerListener*> listeners_;
};

}  // namespace QvPluginSystem
