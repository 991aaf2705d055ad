#include "commands/WhySteps.h"

#include "commands/Documents.h"
#include "commands/TrialText.h"

#include <algorithm>

namespace qvp {
namespace {

const Step* firstFailed(const std::vector<Step>& steps) {
    const auto found = std::find_if(steps.begin(), steps.end(),
                                    [](const Step& step) { return step.state == StepState::failed; });
    return found == steps.end() ? nullptr : &*found;
}

Step dependenciesStep(const Entry& entry) {
    Step step{StepName::dependencies, StepState::ok, 0, {}};
    for (const Entry::Edge& edge : entry.dependencies) {
        if (edge.problem.empty()) continue;
        step.state = StepState::failed;
        step.text += (step.text.empty() ? "" : "; ") + edge.problem;
    }
    // The manager may report a problem that is not that of a single dependency.
    if (step.state == StepState::ok && !entry.problem.empty())
        step = {step.name, StepState::failed, 0, entry.problem};
    return step;
}

Step initializationStep(const Entry& entry, const Setting& setting, std::string& callStack) {
    std::vector<std::string> directories;
    for (const SearchDirectory& directory : setting.directories) directories.push_back(directory.path);
    const Trial trial = tryPlugin(entry.path, directories, false, setting.limits.time);
    callStack = trial.crashStack;
    if (trial.initialized) return {StepName::initialization, StepState::ok, 0, {}};
    return {StepName::initialization, StepState::failed, 0, failureOf(trial)};
}

}  // namespace

bool WhySteps::isOk() const {
    return std::all_of(steps.begin(), steps.end(),
                       [](const Step& step) { return step.state == StepState::ok; });
}

std::string WhySteps::verdict(const Entry& entry) const {
    if (entry.inspection.isOnlyRead())
        return entry.name() + " is not loaded: this system cannot load a library for " +
               systemOf(entry.inspection.file.kind) + ".";
    const Step* failed = firstFailed(steps);
    if (failed) return entry.name() + " is not loaded: " + failed->text;
    if (!entry.isCalledLikeItsPlugin())
        return entry.name() + " is OK, but dependents do not find it: its file is " + entry.path + ".";
    if (entry.isDuplicate())
        return entry.name() + " is OK, but its dependents get another file with that name.";
    return entry.name() + " is OK: it is found, loaded and initialized.";
}

WhySteps takeSteps(const Catalogue& catalogue, std::size_t index, const Setting& setting) {
    const Entry& entry = catalogue.entries()[index];
    Inspection inspection = closeLookAt(entry.path, setting);
    if (inspection.isOnlyRead()) {
        const Step unknown = *inspection.firstStep(StepState::needsOtherSystem);
        for (const StepName name : {StepName::dependencies, StepName::initialization})
            inspection.steps.push_back({name, unknown.state, 0, unknown.text});
        return {std::move(inspection.steps), std::move(inspection.libraries), {}};
    }
    WhySteps taken{std::move(inspection.steps), std::move(inspection.libraries), {}};
    const bool isUsable = taken.isOk();
    taken.steps.push_back(isUsable ? dependenciesStep(entry)
                                   : Step{StepName::dependencies, StepState::notReached, 0, {}});
    taken.steps.push_back(taken.isOk() ? initializationStep(entry, setting, taken.callStack)
                                       : Step{StepName::initialization, StepState::notReached, 0, {}});
    return taken;
}

}  // namespace qvp
