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

/// One of the steps from a file to a running plugin, in the order in which they are taken.
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
    int errorNumber = 0;  ///< the system's, where it gave one
    std::string text;     ///< what is wrong, or "needs Windows"; "" if it is OK
};

/// What is known of one file by itself: the steps up to `descriptor`. What depends on other plugins is added
/// by `Catalogue`.
struct Inspection {
    LibraryFile file;
    std::vector<NeededLibrary> libraries;
    std::vector<std::string> entryPointsFound;
    std::vector<std::string> entryPointsMissing;
    std::string buildInformation;  ///< the plugin's text
    std::optional<QvPluginSystem::QvPluginInfo> descriptor;
    std::vector<Step> steps;  ///< found ... descriptor
    std::string printed;      ///< what the plugin's code printed while it was looked at

    /// The first step in this state; null if there is none.
    const Step* firstStep(StepState state) const;
    /// Whether no step failed, but some need the other system, which this library is for.
    bool isOnlyRead() const;
};

enum class Depth {
    descriptor,  ///< the steps, the descriptor and the libraries that are missing
    everything   ///< and all the rest
};

/// Looks at files; the code in them runs in child processes only. `onInspected` is called on the calling
/// thread as each is done, in no order, with its place in the list. A file that fails by its libraries is not
/// opened.
void inspect(const std::vector<std::string>& files, Depth depth, const ChildLimits& limits,
             const std::function<void(std::size_t, Inspection)>& onInspected);

/// A plugin loaded, with its dependencies, initialized, uninitialized and closed in a child.
struct Trial {
    struct Failure {
        std::string file;
        std::string plugin;  ///< "" where it has no descriptor
        std::string text;    ///< the plugin manager's own
    };
    struct Phase {
        std::string name;    ///< "load", "initialize", "uninitialize", "close"
        double seconds = 0;  ///< of the second and the third those of the plugin's dependencies are part
    };

    bool initialized = false;
    bool uninitialized = false;
    bool unmapped = false;           ///< after closing, the file was not in memory any more
    std::vector<Phase> phases;       ///< those that were completed
    std::vector<std::string> order;  ///< names of the plugins, in the order of their initialization
    std::vector<Failure> failures;   ///< as the manager told them
    std::vector<std::string>
        published;                  ///< classes of the objects that were in the pool after initialization
    std::vector<std::string> left;  ///< classes of those that were still there at the end
    std::string crashStack;         ///< the call stack, one frame a line; "" without a crash
    ChildEnd end;
};

/// `directories` are searched for the dependencies, after the library's default where that is asked for.
Trial tryPlugin(const std::string& file, const std::vector<std::string>& directories,
                bool withDefaultDirectory, std::chrono::milliseconds limit);

/// The child's side of `inspect` and `tryPlugin`: what to run when the program was started with these
/// arguments; nothing when they are not a child's.
std::optional<int> runAsChild(int argc, char** argv);

}  // namespace qvp
