#pragma once

#include <QvPlatform/QvPluginSystem/QvPluginFuncInterface.h>
#include <QvPlatform/QvPluginSystem/QvPluginInfo.h>

#include <cstddef>
#include <string>
#include <vector>

namespace bench {

/// Loads plugins with nothing but the system's calls and one call of each entry point, all into the same
/// descriptor: the limit of what a manager can reach.
class PluginsByHand {
public:
    PluginsByHand() = default;
    /// With a manager's checks: each file is identified and its program headers are read before it is opened,
    /// since one that was cut off ends the process, and each dependency's file is looked for, wherever it may
    /// be and as if for the first time.
    explicit PluginsByHand(std::vector<std::string> searchDirs)
        : checksFiles_(true), searchDirs_(std::move(searchDirs)) {}

    /// Opens and starts the files in this order; false when one fails.
    bool load(const std::vector<std::string>& files);
    /// Stops and closes them in the order of these positions in the list that was loaded.
    void unload(const std::vector<std::size_t>& order);

    /// Opens the file, reads the descriptor and closes the file; false when that fails.
    static bool readInfo(const std::string& file, QvPluginSystem::QvPluginInfo& info);

private:
    using Entry = QvPluginSystem::QvPluginFuncInterface;

    struct Plugin {
        bool open(const std::string& file);
        bool start(QvPluginSystem::QvPluginInfo& info) const;
        void stop() const;

        void* handle = nullptr;
        Entry::GetPluginInfoFunc getInfo = nullptr;
        Entry::InitializeFunc initialize = nullptr;
        Entry::UninitializeFunc uninitialize = nullptr;
        Entry::GetBuildInfoFunc getBuildInfo = nullptr;
    };

    bool findDependencies(const QvPluginSystem::QvPluginInfo& info) const;
    bool findFile(const std::string& name) const;

    bool checksFiles_ = false;
    std::vector<std::string> searchDirs_;
    std::vector<Plugin> plugins_;
};

}  // namespace bench
