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
        const Calling calling(*this);
        for (std::size_t i = 0; i < listeners_.size(); ++i) (listeners_[i]->*notice)(arguments...);
    }

    /// Calls every listener, whatever the others return; true if none returned false.
    /// The first that did is stored in `refuser` unless it is null.
    bool ask(bool (QvPluginManagerListener::*question)(const QvPluginInfo&), const QvPluginInfo& info,
             QvPluginManagerListener** refuser = nullptr) const {
        const Calling calling(*this);
        bool agreed = true;
        for (std::size_t i = 0; i < listeners_.size(); ++i) {
            QvPluginManagerListener* const listener = listeners_[i];
            if ((listener->*question)(info)) continue;
            if (agreed && refuser) *refuser = listener;
            agreed = false;
        }
        return agreed;
    }

    /// Whether a listener is being called.
    bool isCalling() const { return calls_ > 0; }
    const Qv::QvArray<QvPluginManagerListener*>& listeners() const { return listeners_; }

    /// Tells the listeners of a plugin's failure and then logs it; `info` may be null.
    void reportError(const std::string& file, const QvPluginInfo* info, const std::string& error) const;

private:
    class Calling {
    public:
        explicit Calling(const ListenerList& list) : list_(list) { ++list_.calls_; }
        Calling(const Calling&) = delete;
        Calling& operator=(const Calling&) = delete;
        ~Calling() { --list_.calls_; }

    private:
        const ListenerList& list_;
    };

    mutable int calls_ = 0;
    Qv::QvArray<QvPluginManagerListener*> listeners_;
};

}  // namespace QvPluginSystem
