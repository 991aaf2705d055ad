#pragma once

#include <QvPlatform/QvPluginSystem/QvPlugin.h>
#include <QvPlatform/QvPluginSystem/QvPluginObject.h>

#include <string>
#include <vector>

/// The object that the test publishes in the pool; the test plugins record their calls in it.
class QV_PLUGIN_EXPORT CallLog : public QvPluginSystem::QvPluginObject {
public:
    virtual void record(const std::string& call) { calls.push_back(call); }

    std::vector<std::string> calls;
};
