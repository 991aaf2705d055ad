#pragma once

#include <QvPlatform/QvPluginSystem/QvPluginReloader.h>

#include "QvPluginSystem/PluginSystemState.h"

#include <chrono>
#include <new>
#include <string>

namespace QvPluginSystem {

/// What a reload has done so far. Whatever throws within a step makes it fail. If memory runs out, the list
/// of steps may lack some.
struct ReloadRecord {
    QvReloadResult result;
    std::string message;  ///< of the last step

    /// Runs a part of the reload that may fail, with its message, and adds it to the list.
    template <typename Work>
    bool step(QvReloadStep::Action action, const std::string& plugin, Work work) {
        const auto start = std::chrono::steady_clock::now();
        bool succeeded = false;
        try {
            message.clear();
            succeeded = callPlugin([&] { return work(message); }, message);
            const std::chrono::duration<double, std::milli> time = std::chrono::steady_clock::now() - start;
            result.steps.push_back({action, plugin, succeeded, message, time.count()});
        } catch (const std::bad_alloc&) {
            if (!succeeded) message = "out of memory";
        }
        return succeeded;
    }

    /// Returns false, with the reason in the result, if memory runs out.
    template <typename Work>
    bool withMemory(Work work) {
        try {
            work();
            return true;
        } catch (const std::bad_alloc&) {
            if (result.reason.empty()) result.reason = "out of memory";
            return false;
        }
    }

    /// The last step has failed. Only the first failure is the reason of the result. Returns false.
    bool failAt(const std::string& plugin) {
        withMemory([&] {
            if (result.reason.empty()) result.reason = plugin + ": " + message;
        });
        return false;
    }
};

}  // namespace QvPluginSystem
