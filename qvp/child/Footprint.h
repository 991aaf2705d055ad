#pragma once

#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace qvp {

/// What a process holds that a plugin can change and leave changed.
struct Footprint {
    /// What is there, by its identity, with what it is: a number of a thread and its name, a variable and its
    /// value.
    using Items = std::map<std::string, std::string>;

    std::map<std::string, Items> kinds;  ///< by the names that `Leftover` lists, but for "thread"
    std::set<unsigned long> threads;     ///< the system's numbers
};

struct Leftover {
    std::string kind;  ///< "thread", "descriptor", "handle", "mapping", "signalHandler", "timer",
                       ///< "currentDirectory", "environment"
    std::string text;
};

/// As far as the system tells. The caller's thread must be the only one that changes these things.
Footprint takeFootprint();

/// The threads of the plugin's code that were started since and still run half a second later: those that
/// have an address on their stack in a library that was loaded since, and those of which this is unknown. The
/// library's own thread pool keeps its threads.
std::vector<Leftover> leftoverThreads(const Footprint& before);

/// Everything else that differs. `withMappings`: also the files that are still mapped.
std::vector<Leftover> leftoversSince(const Footprint& before, bool withMappings);

/// True if no thread was started and nothing else differs, mapped files included. Does not wait for threads
/// that are about to end.
bool isUnchangedSince(const Footprint& before);

/// What the system's half of this provides.
namespace footprint {

void addSystemItems(Footprint& footprint);
/// "1234 (worker)"
std::string threadText(unsigned long thread);
/// Whether the thread's stack has an address in a file that `before` does not map; true if that is unknown.
bool runsNewCode(unsigned long thread, const Footprint& before);

}  // namespace footprint
}  // namespace qvp
