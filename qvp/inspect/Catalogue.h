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

    /// A dependency.
    struct Edge {
        std::string name;            ///< as the dependent spells it
        Qv::QvVersion version;       ///< required
        std::size_t target = kNone;  ///< the entry that the manager finds for it
        std::string problem;         ///< "" if it is satisfied, else the manager's message
        /// No file has this name: the target has it in its descriptor, and serves only while it is loaded.
        bool isFoundByChance = false;
    };

    std::string path;
    Inspection inspection;             ///< without the lists that only `Depth::everything` fills
    bool isListed = true;              ///< the manager loads it unasked, or the user named it
    bool isInitialized = false;        ///< if everything is loaded, as far as known without running it
    std::string problem;               ///< why it is not initialized, as the manager's message; "" if it is
    std::size_t takenInstead = kNone;  ///< the entry that the manager finds for this one's name
    std::vector<Edge> dependencies;
    std::vector<std::size_t> dependents;  ///< each once, in reading order

    /// What the tool knows about the problem beyond the manager's message; "" if nothing.
    std::string finding() const;
    /// The plugin's name; without a descriptor, the file name without its extension.
    std::string name() const;
    /// True if all steps that concern this file alone are OK.
    bool isUsable() const;
    /// True if the file is named after the plugin, so that dependents find it, and without a descriptor.
    bool isCalledLikeItsPlugin() const;
    /// The manager's message first, and then what it would come upon next.
    std::vector<std::string> dependencyProblems() const;
    /// `problem`, or else why the manager does not load this file, although it could be initialized.
    std::string shownProblem() const;
    bool isDuplicate() const { return takenInstead != kNone; }
};

/// Called with the number of inspected files and the number of all files.
using Progress = std::function<void(std::size_t done, std::size_t all)>;

/// Which files a catalogue inspects.
enum class Extent {
    everything,  ///< all files of the directories
    asNeeded     ///< the given ones, the files that are found for their dependencies, and their namesakes
};

/// All plugins in the directories, inspected, and how they depend on each other by the rules of the plugin
/// manager. Time and memory are proportional to the number of plugins and dependencies.
class Catalogue {
public:
    /// `files` that are in none of the directories come first.
    Catalogue(const std::vector<SearchDirectory>& directories, const std::vector<std::string>& files,
              const ChildLimits& limits, const Progress& onProgress, Extent extent = Extent::everything);

    /// For `Extent::asNeeded`: true if a catalogue of everything says the same about the given files, except
    /// about their dependents. It does if all dependencies are initialized; a failure may depend on the order
    /// in which the manager loads all files, or on one whose name is not that of its plugin.
    bool isConclusive() const;

    const std::vector<Entry>& entries() const noexcept { return entries_; }
    /// Indices into `entries`, directory by directory, sorted by path: the order for reports. `entries` has
    /// the order in which the system lists the files and the manager loads them.
    const std::vector<std::size_t>& readingOrder() const noexcept { return readingOrder_; }
    /// The entry for a path, else the one that the manager finds for a plugin's name; kNone if there is none.
    std::size_t find(const std::string& nameOrPath) const;
    /// Of the plugins that this one needs, directly or not, those that must be loaded before it because no
    /// file has their names; in the manager's order when it loads everything.
    std::vector<std::size_t> mustBeLoadedBefore(std::size_t index) const;
    /// Dependency cycles as indices into `entries`, with the first one repeated at the end. There is one for
    /// each dependency that closes a cycle.
    const std::vector<std::vector<std::size_t>>& cycles() const noexcept { return cycles_; }
    /// The plugins that can be initialized, in the manager's order when it loads everything.
    const std::vector<std::size_t>& initializationOrder() const noexcept { return initializationOrder_; }
    /// The manager's order when it unloads everything.
    const std::vector<std::size_t>& unloadOrder() const noexcept { return unloadOrder_; }

private:
    std::size_t add(const std::string& path, const std::string& identity, bool isListed);
    void addNamesake(std::size_t index);
    void list(const std::vector<SearchDirectory>& directories, const std::vector<std::string>& files);
    void inspectFrom(std::size_t first, const ChildLimits& limits, const Progress& onProgress);
    void findDependencies(std::size_t index);
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
