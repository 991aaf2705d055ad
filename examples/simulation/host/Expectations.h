#pragma once

#include "HostListener.h"
#include "Run.h"

#include <QvPlatform/QvPluginSystem/QvPluginInfo.h>

#include <string>
#include <vector>

/// Compares what happened with what these plugins must lead to, and says on the standard error stream what
/// differs.
class Expectations {
public:
    void checkLoading(const std::vector<QvPluginSystem::QvPluginInfo>& queue, const HostListener& listener);
    void checkRun(const RunResult& run);
    /// `plugins` are those that were loaded; `order` is the order in which they went.
    void checkUnloadOrder(const std::vector<QvPluginSystem::QvPluginInfo>& plugins,
                          const std::vector<std::string>& order);
    void expect(bool condition, const std::string& what);

    /// Whether everything so far was as expected.
    bool met() const { return met_; }

private:
    bool met_ = true;
};
