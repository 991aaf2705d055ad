#pragma once

#include <QvPlatform/QvPluginSystem/QvPlugin.h>

/// What the plugin publishes.
class QV_PLUGIN_EXPORT Answer : public QvPluginSystem::QvPluginObject {
public:
    virtual int value() const { return 0; }
};
