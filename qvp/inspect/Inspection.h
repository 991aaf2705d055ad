#pragma once

#include "binary/LibraryFile.h"
#include "child/Child.h"
#include "loader/LibrarySearch.h"
#include "loader/SymbolSearch.h"

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

/// What a plugin's code did instead of taking the step.
enum class Misdeed { none, crashed, hung, exited, threw };

struct Step {
    StepName name;
    StepState state = StepState::notReached;
    int errorNumber = 0;  ///< the system's error number, or 0
    std::string text;     ///< what is wrong, in one sentence, or "needs Windows"; "" if OK
    Misdeed misdeed = Misdeed::none;
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
    std::vector<Step> steps;   ///< found ... descriptor
    std::string managersLine;  ///< what the plugin manager reports about the failed step; "" if nothing
    std::vector<MissingSymbol> missingSymbols;  ///< if the loader refused the file
    std::string printed;                        ///< what the plugin's code printed while it was inspected

    /// The first step in this state; null if there is none.
    const Step* firstStep(StepState state) const;
    /// True if no step failed, but some need the other system, for which this library is built.
    bool isOnlyRead() const;
};

enum class Depth {
    descriptor,  ///< the steps, the descriptor, the missing libraries, and what a failing plugin printed
    everything   ///< all members
};

/// Inspects files; their code runs only in child processes. Calls `onInspected` on the calling thread for
/// each finished file, in any order, with its index in `files`. What reading a file shows to be missing
/// counts unless the loader opens the file all the same.
void inspect(const std::vector<std::string>& files, Depth depth, const ChildLimits& limits,
             const std::function<void(std::size_t, Inspection)>& onInspected);

/// What to try: `file`, after the files `before`, which the manager loads first. Dependencies are searched in
/// `directories`, and not in the library's default directory.
struct TrialRequest {
    std::string file;
    std::vector<std::string> directories{};
    std::vector<std::string> before{};
    unsigned rounds = 1;  ///< in the same process, while no round leaves a thread
};

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

    /// Something that the plugin changed and did not restore.
    struct Leftover {
        std::string kind;    ///< "thread", "descriptor", "handle", "mapping", "signalHandler", "timer",
                             ///< "currentDirectory" or "environment"
        std::string text;    ///< "1234 (worker)", "/dev/null", "SIGUSR1", ...
        unsigned round = 1;  ///< after which it was there
    };

    unsigned rounds = 0;  ///< that were begun; the following four members are about the last one
    bool initialized = false;
    bool uninitialized = false;
    bool unmapped = false;               ///< after closing, the file was no longer in memory
    std::string currentPhase;            ///< when the trial ended: a phase, "dependencies" or ""
    std::vector<Phase> phases;           ///< the completed ones
    std::vector<std::string> order;      ///< names of plugins in order of initialization
    std::vector<Failure> failures;       ///< as reported by the manager
    std::vector<std::string> published;  ///< classes of the objects in the pool after initialization
    std::vector<std::string> left;       ///< classes of the objects still in the pool at the end
    std::vector<Leftover> leftovers;     ///< at most `kMostLeftovers`
    bool isFinished = false;             ///< the child ended by itself, after all rounds
    std::string crashStack;              ///< the call stack, one frame per line; "" without a crash
    ChildEnd end;
};

inline constexpr std::size_t kMostLeftovers = 100;

Trial tryPlugin(const TrialRequest& request, std::chrono::milliseconds limit);

/// The child's side of `inspect` and `tryPlugin`, in `qvp-host`. If the arguments are those of a child, runs
/// it and returns its exit code; otherwise returns nothing.
std::optional<int> runAsChild(int argc, char** argv);

}  // namespace qvp
