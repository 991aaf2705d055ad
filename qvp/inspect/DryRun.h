#pragma once

#include "inspect/Catalogue.h"

#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace qvp {

/// What the plugin manager does when it loads all listed plugins and then unloads them, computed from the
/// descriptors. The target of each dependency is the file that the manager finds for its name, if any.
class DryRun {
public:
    /// Fills in each entry's `isInitialized` and `problem`, also that of the dependency which was refused.
    explicit DryRun(std::vector<Entry>& entries);

    void loadEverything();
    /// The plugin that was loaded with a dependency's name, whatever its file name is; kNone if there is
    /// none.
    std::size_t loadedFor(const Entry::Edge& edge) const;
    std::vector<std::size_t> unloadEverything();

    const std::vector<std::size_t>& loaded() const { return loaded_; }

private:
    /// What the outcome of another attempt to load a failed plugin depends on.
    struct Failure {
        bool isLasting = true;
        std::string foldedName;     ///< unless "", lasts until another plugin with this name is loaded
        std::size_t namesakes = 0;  ///< how many plugins with this name were loaded
    };
    struct Plugin {
        bool isLoaded = false;
        bool isLoading = false;
        bool isRequested = false;
        std::size_t dependents = 0;
        std::vector<std::size_t> references;
        std::optional<Failure> failure;
    };

    class Chain;
    class Unloading;

    std::size_t indexOf(const Plugin* plugin) const {
        return static_cast<std::size_t>(plugin - plugins_.data());
    }
    const QvPluginSystem::QvPluginInfo& infoOf(std::size_t index) const {
        return *entries_[index].inspection.descriptor;
    }
    void accept(std::size_t index);
    bool stillHolds(const Failure& failure) const;
    std::size_t namesakesOf(const std::string& foldedName) const;
    void unload(const std::string& name, std::vector<std::size_t>& order);

    std::vector<Entry>& entries_;
    std::vector<Plugin> plugins_;
    std::vector<std::size_t> loaded_;
    std::unordered_map<std::string, int> loadingNames_;  // folded
    std::unordered_map<std::string, std::vector<std::size_t>>
        loadedByName_;  // folded; in the order of loading
};

}  // namespace qvp
