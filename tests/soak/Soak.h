#pragma once

#include <string>

/// What the parts of the endurance test share.
namespace soak {

/// Repeats what one subsystem does, `count` times in the part's own unit, and checks each result.
struct Part {
    const char* name;
    const char* unit;
    long count;  ///< of the long form
    void (*run)(long count);
};

extern const Part kPlugins, kProcesses, kLog, kThreadPool, kChildren;

/// The life of a process that `kProcesses` starts; returns its exit code.
int runMember(const std::string& segment);

/// Ends the program with a message if the result is wrong.
void require(bool holds, const char* what);

/// A part that does nothing for ten minutes has failed. To be called now and then.
void showLife();

/// An empty folder with a slash at its end, in which the program runs.
const std::string& workFolder();

}  // namespace soak
