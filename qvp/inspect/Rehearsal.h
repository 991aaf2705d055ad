#pragma once

#include "inspect/Catalogue.h"

#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace qvp {

/// What the plugin manager does when it loads everything that is listed and then unloads it, played on the
/// descriptors alone. The dependencies come with the file that their names lead to, if any, as target.
class Rehearsal {
public:
    /// Fills in each entry's `isInitialized` and `problem`.
    explicit Rehearsal(std::vector<Entry>& entries);

    void loadEverything();
    /// The plugin that was loaded under a dependency's name, whatever its file is called; kNone.
    std::size_t loadedFor(const Entry::Edge& edge) const;
    std::vector<std::size_t> unloadEverything();

    const std::vector<std::size_t>& loaded() const { return loaded_; }

private:
    /// Why a plugin failed, in so far as another try may end otherwise.
    struct Failure {
        bool isLasting = true;
        std::string foldedName;     ///< unless "", it lasts until another plugin of this name is loaded
        std::size_t namesakes = 0;  ///< how many there were
    };
    struct Plugin {
        bool isLoaded = false;
        bool isUnderWay = false;
        bool isRequested = false;
        std::size_t dependents = 0;
        std::vector<std::size_t> claims;
        std::optional<Failure> failure;
    };

    bool load(std::size_t place);
    std::optional<Failure> loadNew(std::size_t place);
    class Resolution;
    std::optional<Failure> claim(std::size_t place, const Entry::Edge& edge);
    const QvPluginSystem::QvPluginInfo& infoOf(std::size_t place) const {
        return *entries_[place].inspection.descriptor;
    }
    void accept(std::size_t place);
    bool stillHolds(const Failure& failure) const;
    std::size_t namesakesOf(const std::string& foldedName) const;
    void unload(const std::string& name, std::vector<std::size_t>& order);
    void release(std::size_t place, std::vector<std::size_t>& order);

    std::vector<Entry>& entries_;
    std::vector<Plugin> plugins_;
    std::vector<std::size_t> loaded_;
    std::unordered_map<std::string, int> namesUnderWay_;  // folded
    std::unordered_map<std::string, std::vector<std::size_t>>
        loadedByName_;  // folded; in the order of loading
};

}  // namespace qvp
