#pragma once

#include "binary/LibraryFile.h"
#include "child/Child.h"
#include "loader/LibrarySearch.h"

#include <QvPlatform/QvPluginSystem/QvPluginInfo.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace qvp {

/// The steps from a file to a running plugin, in order.
enum class StepName {
    found,
    readable,
    architecture,
    libraries,
    opened,
    entryPoints,
    buildInformation,
    descriptor,
    dependencies,
    initialization
};

enum class StepState { ok, failed, notReached, needsOtherSystem };

struct Step {
    StepName name;
    StepState state = StepState::notReached;
    int errorNumber = 0;  ///< the system's error number, or 0
    std::string text;     ///< what is wrong, in one sentence, or "needs Windows"; "" if OK
};

/// What is known about one file without other plugins: the steps up to `descriptor`. `Catalogue` adds what
/// depends on other plugins.
struct Inspection {
    LibraryFile file;
    std::vector<NeededLibrary> libraries;
    std::vector<std::string> entryPointsFound;
    std::vector<std::string> entryPointsMissing;
    std::string buildInformation;  ///< the plugin's text
    std::optional<QvPluginSystem::QvPluginInfo> descriptor;
    std::vector<Step> steps;  ///< found ... descriptor
    std::string printed;      ///< what the plugin's code printed while it was inspected

    /// The first step in this state; null if there is none.
    const Step* firstStep(StepState state) const;
    /// True if no step failed, but some need the other system, for which this library is built.
    bool isOnlyRead() const;
};

enum class Depth {
    descriptor,  ///< the steps, the descriptor and the missing libraries
    everything   ///< all members
};

/// Inspects files; their code runs only in child processes. Calls `onInspected` on the calling thread for
/// each finished file, in any order, with its index in `files`. A file is not opened if a library that it
/// needs is missing or unusable.
void inspect(const std::vector<std::string>& files, Depth depth, const ChildLimits& limits,
             const std::function<void(std::size_t, Inspection)>& onInspected);

/// The result of loading, initializing, uninitializing and closing a plugin with its dependencies in a child.
struct Trial {
    struct Failure {
        std::string file;
        std::string plugin;  ///< its name; "" without a descriptor
        std::string text;    ///< as reported by the plugin manager
    };
    struct Phase {
        std::string name;    ///< "load", "initialize", "uninitialize", "close"
        double seconds = 0;  ///< "initialize" and "uninitialize" include the dependencies
    };

    bool initialized = false;
    bool uninitialized = false;
    bool unmapped = false;               ///< after closing, the file was no longer in memory
    std::vector<Phase> phases;           ///< the completed ones
    std::vector<std::string> order;      ///< names of plugins in order of initialization
    std::vector<Failure> failures;       ///< as reported by the manager
    std::vector<std::string> published;  ///< classes of the objects in the pool after initialization
    std::vector<std::string> left;       ///< classes of the objects still in the pool at the end
    std::string crashStack;              ///< the call stack, one frame per line; "" without a crash
    ChildEnd end;
};

/// Searches `directories` for dependencies, after the library's default directory if `withDefaultDirectory`.
Trial tryPlugin(const std::string& file, const std::vector<std::string>& directories,
                bool withDefaultDirectory, std::chrono::milliseconds limit);

/// The child's side of `inspect` and `tryPlugin`. If the arguments are those of a child, runs it and returns
/// its exit code; otherwise returns nothing.
std::optional<int> runAsChild(int argc, char** argv);

}  // namespace qvp
