#include "commands/WhySteps.h"

#include "commands/CommonText.h"
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

Step unreached(StepName name) { return {name, StepState::notReached, 0, {}}; }

Step dependenciesStep(const Entry& entry) {
    constexpr std::size_t kMost = 5;
    const std::vector<std::string> problems = entry.dependencyProblems();
    Step step{StepName::dependencies, problems.empty() ? StepState::ok : StepState::failed, 0, {}};
    for (const std::string& problem : firstOf(problems, kMost))
        step.text += (step.text.empty() ? "" : "; ") + problem;
    return step;
}

Misdeed misdeedOf(const ChildEnd& end) {
    switch (end.kind) {
        case ChildEnd::Kind::crashed:
            return Misdeed::crashed;
        case ChildEnd::Kind::timedOut:
            return Misdeed::hung;
        case ChildEnd::Kind::exited:
            return Misdeed::exited;
        default:
            return Misdeed::none;
    }
}

Step initializationStep(const Catalogue& catalogue, std::size_t index, const Setting& setting,
                        WhySteps& taken) {
    TrialRequest request{catalogue.entries()[index].path};
    for (const SearchDirectory& directory : setting.directories)
        request.directories.push_back(directory.path);
    for (const std::size_t before : catalogue.mustBeLoadedBefore(index))
        request.before.push_back(catalogue.entries()[before].path);
    const Trial trial = tryPlugin(request, setting.limits.time);
    taken.callStack = trial.crashStack;
    taken.printed = trial.end.output;
    taken.afterInitialization = unloadingProblemOf(trial);
    if (!trial.isFinished) taken.misdeed = misdeedOf(trial.end);
    if (trial.initialized) return {StepName::initialization, StepState::ok, 0, {}};
    taken.failedPlugin = trial.failures.empty() ? std::string() : trial.failures.front().plugin;
    return {StepName::initialization, StepState::failed, 0, failureOf(trial), taken.misdeed};
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
    if (!afterInitialization.empty()) return entry.name() + " is initialized, but " + afterInitialization;
    if (!entry.isCalledLikeItsPlugin())
        return entry.name() + " is OK, but dependents look for " + entry.name() +
               ".qvp and do not find it: its file is " + entry.path + ".";
    if (entry.isDuplicate())
        return entry.name() + " is OK, but its dependents get another file with that name.";
    const auto byChance = std::find_if(entry.dependencies.begin(), entry.dependencies.end(),
                                       [](const Entry::Edge& edge) { return edge.isFoundByChance; });
    if (byChance != entry.dependencies.end())
        return entry.name() +
               " is OK if a host loads the whole directory, but not by itself: no file is called " +
               byChance->name + ".qvp.";
    return entry.name() + " is OK: it is found, loaded and initialized.";
}

WhySteps takeSteps(const Catalogue& catalogue, std::size_t index, const Setting& setting) {
    const Entry& entry = catalogue.entries()[index];
    Inspection inspection = closeLookAt(entry.path, setting);
    const bool isOnlyRead = inspection.isOnlyRead();
    WhySteps taken{std::move(inspection.steps), std::move(inspection.libraries),
                   std::move(inspection.missingSymbols)};
    if (isOnlyRead) {
        const Step unknown = *entry.inspection.firstStep(StepState::needsOtherSystem);
        for (const StepName name : {StepName::dependencies, StepName::initialization})
            taken.steps.push_back({name, unknown.state, 0, unknown.text});
        return taken;
    }
    if (!taken.isOk()) taken.printed = std::move(inspection.printed);
    taken.steps.push_back(taken.isOk() ? dependenciesStep(entry) : unreached(StepName::dependencies));
    taken.steps.push_back(taken.isOk() ? initializationStep(catalogue, index, setting, taken)
                                       : unreached(StepName::initialization));
    return taken;
}

}  // namespace qvp
