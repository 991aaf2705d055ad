#include "commands/TrialText.h"

#include "commands/CommonText.h"
#include "inspect/InspectReport.h"
#include "report/Text.h"

#include <algorithm>
#include <array>
#include <utility>

namespace qvp {
namespace {

// What was going on when a trial ended early.
std::string phaseText(const Trial& trial) {
    constexpr std::array<std::pair<const char*, const char*>, 5> kPhases{
        {{"load", "its file was opened"},
         {"initialize", "it was initialized"},
         {"uninitialize", "it was uninitialized"},
         {"dependencies", "its dependencies were unloaded"},
         {"close", "its file was closed"}}};
    const auto* const found = std::find_if(
        kPhases.begin(), kPhases.end(), [&](const auto& phase) { return phase.first == trial.currentPhase; });
    return found == kPhases.end() ? "the process ended" : found->second;
}

std::string sentenceFor(const std::string& kind) {
    constexpr std::array<std::pair<const char*, const char*>, 8> kSentences{
        {{"thread", "It left threads running in its code; the host crashes when the plugin's file is closed"},
         {"descriptor", "It left file descriptors open, or closed those of the host"},
         {"handle", "It left handles open"},
         {"mapping", "It left files mapped"},
         {"signalHandler", "It left signal handlers changed"},
         {"timer", "It left timers running"},
         {"currentDirectory", "It left the current directory changed"},
         {"environment", "It left environment variables changed"}}};
    const auto* const found = std::find_if(kSentences.begin(), kSentences.end(),
                                           [&](const auto& each) { return each.first == kind; });
    return found == kSentences.end() ? kind : found->second;
}

}  // namespace

std::string failureOf(const Trial& trial) {
    std::string text;
    for (const Trial::Failure& failure : trial.failures) {
        const std::string& from = failure.plugin.empty() ? failure.file : failure.plugin;
        const std::string& reason = failure.text;
        text += (text.empty() ? "" : "; ") + from + ": " +
                (reason.empty() ? "InitializePlugin returned false and gave no reason" : reason);
    }
    if (text.empty()) text = disturbanceOf(trial);
    return text.empty() ? "the process ended before the plugin was initialized" : text;
}

std::string disturbanceOf(const Trial& trial) {
    const std::string phase = " while " + phaseText(trial);
    switch (trial.end.kind) {
        case ChildEnd::Kind::crashed:
            return "its code crashed" + phase + ": " + trial.end.text;
        case ChildEnd::Kind::timedOut:
            return "its code did not finish in time" + phase;
        case ChildEnd::Kind::notStarted:
            return "the trial could not be started: " + trial.end.text;
        default:
            break;
    }
    if (!trial.isFinished) return exitText(trial.end) + phase;
    return trial.end.code == 0 ? std::string()
                               : "its process ended with status " + std::to_string(trial.end.code) +
                                     " instead of 0 after everything was unloaded";
}

std::string unloadingProblemOf(const Trial& trial) {
    if (!trial.initialized) return {};
    std::string disturbance = disturbanceOf(trial);
    if (!disturbance.empty() || trial.uninitialized) return disturbance;
    return "it could not be unloaded: " + failureOf(trial);
}

std::vector<std::string> leftoverProblemsOf(const Trial& trial) {
    constexpr std::size_t kMost = 5;
    std::vector<std::pair<std::string, std::vector<std::string>>> byKind;
    for (const Trial::Leftover& leftover : trial.leftovers) {
        auto kind = std::find_if(byKind.begin(), byKind.end(),
                                 [&](const auto& each) { return each.first == leftover.kind; });
        if (kind == byKind.end()) kind = byKind.insert(kind, {leftover.kind, {}});
        const std::string round = trial.rounds > 1 ? ", round " + std::to_string(leftover.round) : "";
        kind->second.push_back(leftover.text + round);
    }
    std::vector<std::string> problems;
    problems.reserve(byKind.size());
    for (const auto& [kind, texts] : byKind)
        problems.push_back(sentenceFor(kind) + ": " + listed(firstOf(texts, kMost)));
    return problems;
}

}  // namespace qvp
