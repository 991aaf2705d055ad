#include "commands/Advice.h"

#include <QvPlatform/filesystem/File.h>

#include "QvPluginSystem/rules/PluginRules.h"
#include "commands/Documents.h"
#include "report/Text.h"

#include <algorithm>
#include <set>

namespace qvp {
namespace {

using QvPlatform::File;

std::string fileNameOf(const std::string& path) { return File(path).getName(); }

std::string aboutLibraries(const Entry& entry) {
    std::set<std::string> names;
    for (const NeededLibrary& library : entry.inspection.libraries) names.insert(library.name);
    if (names.empty()) return "Install the missing library, or put it next to " + entry.path + ".";
    return "Install " + listed({names.begin(), names.end()}) + ", or put " +
           (names.size() == 1 ? "it" : "them") + " next to " + fileNameOf(entry.path) + " in " +
           File(entry.path).getFolderPath() + ".";
}

std::string aboutStep(const Entry& entry, StepName step) {
    const std::string file = fileNameOf(entry.path);
    switch (step) {
        case StepName::found:
            return "Put " + file +
                   " at this path, or add the directory that contains it with --dir or QVP_PATH.";
        case StepName::readable:
            return "Check that " + file +
                   " was copied completely and that the user who runs the host may read it.";
        case StepName::architecture:
            return "Build " + file + " for this platform (64-bit x86), or install such a build.";
        case StepName::libraries:
            return aboutLibraries(entry);
        case StepName::opened:
            return "Fix the code that " + file +
                   " runs when it is opened, such as constructors of static objects.";
        case StepName::entryPoints:
            return "Define the four functions of QvPlugin.h in " + file +
                   ", exactly as they are declared there.";
        case StepName::buildInformation:
            return "Build " + file +
                   " with the same compiler and build mode as the product, and return "
                   "QV_PLUGIN_BUILD_INFO from GetPluginBuildInfo.";
        case StepName::descriptor:
            return "Make GetPluginInfo in " + file +
                   " set info.name and the other fields of the descriptor, and do nothing else.";
        case StepName::initialization:
            return "Ask the author of " + entry.name() +
                   ": its InitializePlugin failed with the message above.";
        default:
            return {};
    }
}

std::string aboutCycle(const Catalogue& catalogue, std::size_t index) {
    for (const Document& cycle : cyclesDocument(catalogue)) {
        const std::vector<std::string> files = textsOf(cycle["files"]);
        if (std::find(files.begin(), files.end(), catalogue.entries()[index].path) == files.end()) continue;
        return "Remove one dependency from the cycle " + pathText(cycle) + ".";
    }
    return {};
}

std::string aboutVersion(const Entry& dependent, const Entry::Edge& edge, const Entry& target) {
    const auto& found = *target.inspection.descriptor;
    if (!QvPluginSystem::rules::isSameName(found.name, edge.name))
        return "Rename " + target.path + ": it is found as " + edge.name + " but contains the plugin " +
               found.name + ".";
    const std::string version = shortVersion(found.version.toString());
    const std::string since = shortVersion(found.compatibilityVersion.toString());
    return "Install a version of " + found.name + " that is compatible with " +
           shortVersion(edge.version.toString()) + ", or change the version that " + dependent.name() +
           " requires: " + target.path + " is version " + version + " and is compatible with " + since +
           " to " + version + ".";
}

std::string aboutEdge(const Catalogue& catalogue, std::size_t index, const Entry::Edge& edge) {
    const Entry& dependent = catalogue.entries()[index];
    if (edge.target == Entry::kNone) return adviceForMissing(catalogue, edge.name);
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

std::vector<std::string> adviceFor(const Catalogue& catalogue, std::size_t index,
                                   const std::vector<Step>& steps) {
    const auto failed = std::find_if(steps.begin(), steps.end(),
                                     [](const Step& step) { return step.state == StepState::failed; });
    if (catalogue.entries()[index].inspection.isOnlyRead())
        return {aboutStep(catalogue.entries()[index], StepName::architecture)};
    if (failed == steps.end()) return {};
    if (failed->name != StepName::dependencies) return {aboutStep(catalogue.entries()[index], failed->name)};

    std::vector<std::string> advice;
    const std::size_t root = causeOf(catalogue, index).back();
    const Entry& cause = catalogue.entries()[root];
    if (cause.inspection.isOnlyRead()) return {aboutStep(cause, StepName::architecture)};
    if (!cause.isUsable()) {
        for (const Step& step : cause.inspection.steps) {
            if (step.state == StepState::failed) return {aboutStep(cause, step.name)};
        }
    }
    for (const Entry::Edge& edge : cause.dependencies) {
        std::string sentence = edge.problem.empty() ? std::string() : aboutEdge(catalogue, root, edge);
        if (!sentence.empty() && std::find(advice.begin(), advice.end(), sentence) == advice.end())
            advice.push_back(std::move(sentence));
    }
    return advice;
}

std::string adviceForMisnamed(const Entry& entry) {
    return "Rename " + entry.path + " to " + entry.name() +
           ".qvp: dependents look for a file with the plugin's name.";
}

std::string adviceForMissing(const Catalogue& catalogue, const std::string& name) {
    for (const std::size_t index : catalogue.readingOrder()) {
        const Entry& entry = catalogue.entries()[index];
        if (entry.isUsable() && QvPluginSystem::rules::isSameName(entry.name(), name))
            return adviceForMisnamed(entry);
    }
    return "Put " + name +
           ".qvp into one of the search directories, or add the directory that contains it with "
           "--dir or QVP_PATH.";
}

}  // namespace qvp
