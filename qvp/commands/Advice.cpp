#include "commands/Advice.h"

#include <QvPlatform/filesystem/File.h>

#include "QvPluginSystem/rules/PluginRules.h"
#include "commands/Documents.h"
#include "commands/StepAdvice.h"
#include "report/Text.h"

#include <algorithm>
#include <set>

namespace qvp {
namespace {

namespace rules = QvPluginSystem::rules;

using QvPlatform::File;

std::string aboutCycle(const Catalogue& catalogue, std::size_t index) {
    for (const Document& cycle : cyclesDocument(catalogue)) {
        const std::vector<std::string> files = textsOf(cycle["files"]);
        if (std::find(files.begin(), files.end(), catalogue.entries()[index].path) == files.end()) continue;
        return "Remove one dependency from the cycle " + pathText(cycle) + ".";
    }
    return {};
}

// A plugin in this file, which dependents look for as `name` in the same folder.
Misnamed lookedForAs(const std::string& name, const std::string& plugin, const std::string& file) {
    const std::string fileName = name + rules::kExtension;
    return {plugin, file, fileName, File(file).getFolderPath() + fileName};
}

std::string adviceForAbsent(const std::string& name) {
    return "Put " + name +
           ".qvp into one of the search directories, or add the directory that contains it with "
           "--dir or QVP_PATH.";
}

std::string aboutVersion(const Entry& dependent, const Entry::Edge& edge, const Entry& target) {
    const auto& found = *target.inspection.descriptor;
    if (!rules::isSameName(found.name, edge.name))
        return adviceForMisnamed(lookedForAs(found.name, found.name, target.path)) + " " +
               adviceForAbsent(edge.name);
    const std::string version = shortVersion(found.version.toString());
    const std::string since = shortVersion(found.compatibilityVersion.toString());
    return "Install a version of " + found.name + " that is compatible with " +
           shortVersion(edge.version.toString()) + ", or change the version that " + dependent.name() +
           " requires: " + target.path + " is version " + version + " and is compatible with " + since +
           " to " + version + ".";
}

std::string aboutEdge(const Catalogue& catalogue, std::size_t index, const Entry::Edge& edge) {
    const Entry& dependent = catalogue.entries()[index];
    if (edge.target == Entry::kNone || edge.isFoundByChance)
        return adviceForMissing(catalogue, edge.name, dependent.path);
    std::string cycle = aboutCycle(catalogue, index);
    if (!cycle.empty()) return cycle;
    const Entry& target = catalogue.entries()[edge.target];
    return target.inspection.descriptor ? aboutVersion(dependent, edge, target) : std::string();
}

const Entry::Edge* firstUnmet(const Entry& entry) {
    const auto found = std::find_if(entry.dependencies.begin(), entry.dependencies.end(),
                                    [](const Entry::Edge& edge) { return !edge.problem.empty(); });
    return found == entry.dependencies.end() ? nullptr : &*found;
}

}  // namespace

std::vector<std::size_t> causeOf(const Catalogue& catalogue, std::size_t index) {
    std::vector<std::size_t> chain{index};
    std::set<std::size_t> seen{index};
    for (;;) {
        const Entry& entry = catalogue.entries()[chain.back()];
        const Entry::Edge* unmet = entry.isUsable() ? firstUnmet(entry) : nullptr;
        if (!unmet || unmet->target == Entry::kNone) return chain;
        if (catalogue.entries()[unmet->target].problem.empty() || !seen.insert(unmet->target).second)
            return chain;
        chain.push_back(unmet->target);
    }
}

namespace {

// Of the plugin whose initialization failed in the trial, which may be one that this one needs.
std::vector<std::string> aboutInitialization(const Catalogue& catalogue, std::size_t index,
                                             const WhySteps& taken, const Step& failed) {
    const std::size_t culprit = taken.failedPlugin.empty() ? index : catalogue.find(taken.failedPlugin);
    return adviceForStep(catalogue.entries()[culprit == Entry::kNone ? index : culprit], failed, {});
}

const Step& stepToBuildIt() {
    static const Step step{StepName::architecture, StepState::failed, 0, {}};
    return step;
}

std::vector<std::string> aboutDependencies(const Catalogue& catalogue, std::size_t root) {
    const Entry& cause = catalogue.entries()[root];
    if (cause.inspection.isOnlyRead()) return adviceForStep(cause, stepToBuildIt(), {});
    if (const Step* const failed = cause.inspection.firstStep(StepState::failed))
        return adviceForStep(cause, *failed, {});
    std::vector<std::string> advice;
    for (const Entry::Edge& edge : cause.dependencies) {
        std::string sentence = edge.problem.empty() ? std::string() : aboutEdge(catalogue, root, edge);
        if (!sentence.empty()) advice.push_back(std::move(sentence));
    }
    return advice;
}

void addIfMisnamed(const Entry& entry, std::vector<Misnamed>& misnamed) {
    if (!entry.isCalledLikeItsPlugin())
        misnamed.push_back(lookedForAs(entry.name(), entry.name(), entry.path));
}

}  // namespace

std::vector<std::string> adviceFor(const Catalogue& catalogue, std::size_t index, const WhySteps& taken) {
    const Entry& entry = catalogue.entries()[index];
    if (entry.inspection.isOnlyRead()) return adviceForStep(entry, stepToBuildIt(), {});
    if (!taken.afterInitialization.empty())
        return {"Fix UninitializePlugin and the destructors of static objects in " + entry.path +
                ": a host that unloads the plugin, or ends, fails in the same way."};
    const auto failed = std::find_if(taken.steps.begin(), taken.steps.end(),
                                     [](const Step& step) { return step.state == StepState::failed; });
    if (failed == taken.steps.end()) return {};
    if (failed->name == StepName::dependencies)
        return aboutDependencies(catalogue, causeOf(catalogue, index).back());
    if (failed->name == StepName::initialization)
        return aboutInitialization(catalogue, index, taken, *failed);
    return adviceForStep(entry, *failed, taken.missingSymbols);
}

std::optional<Misnamed> misnamedAs(const Catalogue& catalogue, const std::string& name) {
    for (const std::size_t index : catalogue.readingOrder()) {
        const Entry& entry = catalogue.entries()[index];
        if (rules::isSameName(entry.name(), name)) return lookedForAs(name, entry.name(), entry.path);
    }
    return std::nullopt;
}

// A dependency that is found by chance, or not at all, is named as its dependent spells it.
std::vector<Misnamed> misnamedFor(const Catalogue& catalogue, std::size_t index) {
    std::vector<Misnamed> misnamed;
    addIfMisnamed(catalogue.entries()[index], misnamed);
    std::set<std::size_t> seen{index};
    std::vector<std::size_t> waiting{index};
    while (!waiting.empty()) {
        const Entry& entry = catalogue.entries()[waiting.back()];
        waiting.pop_back();
        for (const Entry::Edge& edge : entry.dependencies) {
            if (edge.isFoundByChance || edge.target == Entry::kNone) {
                if (auto other = misnamedAs(catalogue, edge.name)) misnamed.push_back(std::move(*other));
            }
            if (edge.target != Entry::kNone && seen.insert(edge.target).second)
                waiting.push_back(edge.target);
        }
    }
    return misnamed;
}

std::string adviceForMisnamed(const Misnamed& misnamed) {
    return "Rename " + misnamed.file + " to " + misnamed.lookedFor + ": it contains the plugin " +
           misnamed.plugin + ", and dependents look for a file of that name.";
}

std::string adviceForMissing(const Catalogue& catalogue, const std::string& name,
                             const std::string& dependent) {
    if (const auto misnamed = misnamedAs(catalogue, name)) return adviceForMisnamed(*misnamed);
    const std::string folder = dependent.empty() ? "" : File(dependent).getFolderPath();
    if (!folder.empty() && !regularFileIdentity(folder + name + rules::kExtension).empty())
        return "Add --dir " + folder + ": " + name + rules::kExtension + " is there, next to " +
               File(dependent).getName() + ", but that is no search directory.";
    return adviceForAbsent(name);
}

}  // namespace qvp
