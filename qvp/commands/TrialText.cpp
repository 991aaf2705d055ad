#include "commands/TrialText.h"

#include <algorithm>
#include <array>

namespace qvp {
namespace {

// What was going on when a trial ended early: the first phase that was not completed.
std::string phaseOfEnd(const Trial& trial) {
    struct Phase {
        const char* name;
        const char* text;
    };
    constexpr std::array<Phase, 4> kPhases = {{{"load", "its file was opened"},
                                               {"initialize", "it was initialized"},
                                               {"uninitialize", "it was uninitialized"},
                                               {"close", "its file was closed"}}};
    const auto isOpen = [&](const Phase& phase) {
        return std::none_of(trial.phases.begin(), trial.phases.end(),
                            [&](const Trial::Phase& completed) { return completed.name == phase.name; });
    };
    const auto* const found = std::find_if(kPhases.begin(), kPhases.end(), isOpen);
    return found == kPhases.end() ? "the process ended" : found->text;
}

}  // namespace

std::string failureOf(const Trial& trial) {
    std::string text;
    for (const Trial::Failure& failure : trial.failures) {
        const std::string& from = failure.plugin.empty() ? failure.file : failure.plugin;
        text += (text.empty() ? "" : "; ") + from + ": " + failure.text;
    }
    if (text.empty()) text = disturbanceOf(trial);
    return text.empty() ? "the process ended before the plugin was initialized" : text;
}

std::string disturbanceOf(const Trial& trial) {
    const std::string phase = " while " + phaseOfEnd(trial);
    switch (trial.end.kind) {
        case ChildEnd::Kind::crashed:
            return "its code crashed" + phase + ": " + trial.end.text;
        case ChildEnd::Kind::timedOut:
            return "its code did not finish in time" + phase;
        case ChildEnd::Kind::notStarted:
            return "the trial could not be started: " + trial.end.text;
        default:
            return trial.end.code == 0
                       ? std::string()
                       : "the process ended with exit code " + std::to_string(trial.end.code) + phase;
    }
}

}  // namespace qvp
