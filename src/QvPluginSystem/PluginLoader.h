#pragma once

#include "QvPluginSystem/PluginSystemState.h"

#include <string>
#include <unordered_set>

namespace QvPluginSystem {

/// Checks an open library and fills in its plugin's descriptor, which names the file. False with the reason.
bool readDescriptor(const QvPluginFuncInterface& entryPoints, QvPluginInfo& info, std::string& reason);

/// Loads plugin files: opens and checks the library, asks the listeners, loads what the plugin depends on
/// and initializes it.
class PluginLoader {
public:
    PluginLoader(QvPluginManager& manager, PluginSystemState& state) : manager_(manager), state_(state) {}

    enum class Request { direct, dependency };

    /// Returns whether the file's plugin is now loaded. Failures are reported, and a failed plugin leaves
    /// nothing behind; if a listener rejects a plugin, it fails without a report.
    bool load(const std::string& path, Request request);
    /// The same for a path whose file is known. Returns the plugin; null if it failed or was rejected.
    LoadedPlugin* load(const std::string& path, const PluginFile& file, Request request);

    /// The plugin's descriptor, read without initializing it; a default one on failure.
    QvPluginInfo readInfo(const std::string& nameOrPath) const;

private:
    class Candidate;
    class Chain;
    struct Loading {
        std::unordered_multiset<std::string> foldedNames;
        PluginFileIndex<const std::string> files;  // to the path that is being loaded
    };

    LoadedPlugin* reuse(LoadedPlugin& loaded, Request request) const;
    bool prepare(Candidate& candidate) const;
    bool describe(Candidate& candidate) const;
    bool initialize(Candidate& candidate) const;
    LoadedPlugin* accept(Candidate& candidate) const;
    bool fail(const Candidate& candidate, const std::string& error) const;

    QvPluginManager& manager_;
    PluginSystemState& state_;
    Loading loading_;  // of nested requests too: an entry point may load further plugins
};

}  // namespace QvPluginSystem
