#pragma once

#include "inspect/Inspection.h"
#include "inspect/PluginFinder.h"

#include <cstddef>
#include <functional>
#include <string>
#include <unordered_map>
#include <vector>

namespace qvp {

/// One plugin file that was found.
struct Entry {
    static constexpr std::size_t kNone = static_cast<std::size_t>(-1);

    /// What the plugin needs.
    struct Edge {
        std::string name;            ///< as the dependent spells it
        Qv::QvVersion version;       ///< required
        std::size_t target = kNone;  ///< the entry that the manager takes for it
        std::string problem;         ///< "" when it is satisfied; else the manager's own words for it
    };

    std::string path;
    Inspection inspection;  ///< without the lists that only `Depth::everything` fills
    bool isListed =
        true;  ///< by a directory or by the user; else it is here because a dependency's name led to it
    bool isInitialized = false;  ///< when everything is loaded, as far as can be told without running it
    std::string problem;  ///< the first thing that keeps it from that, in the manager's words; "" without one
    std::size_t takenInstead = kNone;  ///< the entry that the manager takes for this one's name
    std::vector<Edge> dependencies;
    std::vector<std::size_t> dependents;  ///< each once, in reading order

    /// The plugin's name; without a descriptor the file's name up to its extension.
    std::string name() const;
    /// Whether all steps that concern this file alone were taken.
    bool isUsable() const;
    /// Whether the file's name is the plugin's, so that dependents find it; true without a descriptor.
    bool isCalledLikeItsPlugin() const;
    bool isDuplicate() const { return takenInstead != kNone; }
};

/// Called with the number of files that were looked at, and that of all.
using Progress = std::function<void(std::size_t done, std::size_t all)>;

/// All plugins of the directories, looked at, and how they hang together by the rules of the plugin manager.
/// Takes time and space in proportion to plugins and dependencies.
class Catalogue {
public:
    /// `files` that lie in none of the directories come first.
    Catalogue(const std::vector<SearchDirectory>& directories, const std::vector<std::string>& files,
              const ChildLimits& limits, const Progress& onProgress);

    const std::vector<Entry>& entries() const noexcept { return entries_; }
    /// Their places directory by directory, sorted by path in each: the order in which people read. That of
    /// `entries` is the one in which the system lists files, and the manager takes them.
    const std::vector<std::size_t>& readingOrder() const noexcept { return readingOrder_; }
    /// The entry for a path, or else for a plugin's name as the manager would find it; kNone.
    std::size_t find(const std::string& nameOrPath) const;
    /// Closed paths of dependencies as places in `entries`, the first one repeated at the end. Each
    /// dependency that closes a circle gives one: without those there is none.
    const std::vector<std::vector<std::size_t>>& cycles() const noexcept { return cycles_; }
    /// Those that can be initialized, in the order in which the manager does it when it loads everything.
    const std::vector<std::size_t>& initializationOrder() const noexcept { return initializationOrder_; }
    /// The order in which it takes them down when it unloads everything.
    const std::vector<std::size_t>& unloadOrder() const noexcept { return unloadOrder_; }

private:
    std::size_t add(const std::string& path, const std::string& identity, bool isListed);
    void list(const std::vector<SearchDirectory>& directories, const std::vector<std::string>& files);
    void inspectFrom(std::size_t first, const ChildLimits& limits, const Progress& onProgress);
    void findDependencies(std::size_t place);
    void sortForReading();
    void findDependents();
    void findDuplicates();

    PluginFinder finder_;
    std::vector<Entry> entries_;
    std::unordered_map<std::string, std::size_t> byIdentity_;
    std::unordered_map<std::string, std::vector<std::size_t>> byFoldedName_;
    std::unordered_map<std::string, std::size_t> firstLoaded_;  // by folded name
    std::vector<std::size_t> readingOrder_;
    std::vector<std::vector<std::size_t>> cycles_;
    std::vector<std::size_t> initializationOrder_;
    std::vector<std::size_t> unloadOrder_;
};

}  // namespace qvp
