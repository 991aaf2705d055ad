#include "inspect/Steps.h"

#include <QvPlatform/filesystem/File.h>

#include "inspect/PluginFinder.h"
#include "loader/LoaderRules.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace qvp {
namespace {

using Problem = LibraryFile::Problem;

StepName stepOf(Problem problem) {
    if (problem == Problem::missing) return StepName::found;
    return problem == Problem::wrongArchitecture ? StepName::architecture : StepName::readable;
}

bool fails(const NeededLibrary& library) {
    return !library.isNeededLater && (library.isMissing() || library.problem != Problem::none);
}

// "libfoo.so.1 (for libbar.so, for libbaz.so), which was not found in 7 folders"
std::string missingText(const NeededLibrary& library, const std::string& file) {
    std::string text = library.name;
    std::string users;
    for (auto user = library.chain.rbegin(); user != library.chain.rend() && *user != file; ++user)
        users += (users.empty() ? " (for " : ", for ") + QvPlatform::File(*user).getName();
    if (!users.empty()) text += users + ")";
    if (!library.path.empty())
        return text + ", which was found as " + library.path + ", but " + library.problemText;
    const std::size_t count = library.lookedIn.size();
    text += ", which was not found";
    if (count != 0)
        text += " in " + (count == 1 ? library.lookedIn.front() : std::to_string(count) + " folders");
    for (const NeededLibrary::Unusable& passed : library.passedOver)
        text += ", because " + passed.path + " is of no use: " + passed.reason;
    return text;
}

std::string librariesProblem(const Inspection& inspection) {
    constexpr std::size_t kMost = 4;
    std::string text;
    std::size_t count = 0;
    for (const NeededLibrary& library : inspection.libraries) {
        if (fails(library) && ++count <= kMost)
            text += (text.empty() ? "needs " : "; and ") + missingText(library, inspection.file.path);
    }
    if (count > kMost) text += "; and " + std::to_string(count - kMost) + " more libraries";
    return text;
}

void findEntryPoints(const std::vector<std::string>& exportedNames, Inspection& inspection) {
    for (const char* const name : kEntryPoints) {
        const bool isFound =
            std::find(exportedNames.begin(), exportedNames.end(), name) != exportedNames.end();
        (isFound ? inspection.entryPointsFound : inspection.entryPointsMissing).emplace_back(name);
    }
}

void nameLibraries(Inspection& inspection) {
    const auto add = [&](const std::string& name, bool isLater) {
        NeededLibrary library;
        library.name = name;
        library.neededBy = inspection.file.path;
        library.foundBy = "not searched";
        library.isNeededLater = isLater;
        inspection.libraries.push_back(std::move(library));
    };
    for (const std::string& name : inspection.file.needed) add(name, false);
    for (const std::string& name : inspection.file.neededLater) add(name, true);
}

// What can be read is decided; whatever asks the loader or runs code is left to the other system.
void takeStepsByReading(Inspection& inspection) {
    findEntryPoints(inspection.file.exportedNames, inspection);
    nameLibraries(inspection);
    setAllSteps(inspection);
    if (!inspection.entryPointsMissing.empty())
        failAt(inspection, StepName::entryPoints, 0, missingEntryPointsText(inspection.entryPointsMissing));
    for (const StepName name :
         {StepName::libraries, StepName::opened, StepName::buildInformation, StepName::descriptor}) {
        Step& step = inspection.steps[static_cast<std::size_t>(name)];
        if (step.state == StepState::ok)
            step = {name, StepState::needsOtherSystem, 0,
                    std::string("needs ") + systemOf(inspection.file.kind), Misdeed::none};
    }
}

}  // namespace

const Step* Inspection::firstStep(StepState state) const {
    const auto found =
        std::find_if(steps.begin(), steps.end(), [=](const Step& step) { return step.state == state; });
    return found == steps.end() ? nullptr : &*found;
}

bool Inspection::isOnlyRead() const {
    return !firstStep(StepState::failed) && firstStep(StepState::needsOtherSystem);
}

std::string missingEntryPointsText(const std::vector<std::string>& missing) {
    std::string names;
    for (const std::string& name : missing) names += (names.empty() ? "" : ", ") + name;
    return "does not export " + names;
}

void dropDetails(Inspection& inspection) {
    LibraryFile& file = inspection.file;
    for (auto* list : {&file.needed, &file.neededLater, &file.exportedNames, &inspection.entryPointsFound,
                       &inspection.entryPointsMissing})
        std::vector<std::string>().swap(*list);
    for (auto* text : {&file.rpath, &file.runpath}) text->reset();
    std::string().swap(inspection.buildInformation);
    if (!inspection.firstStep(StepState::failed)) std::string().swap(inspection.printed);
    std::erase_if(inspection.libraries, [](const NeededLibrary& library) { return !fails(library); });
    inspection.libraries.shrink_to_fit();
}

void setAllSteps(Inspection& inspection) {
    inspection.steps.clear();
    for (const StepName name :
         {StepName::found, StepName::readable, StepName::architecture, StepName::libraries, StepName::opened,
          StepName::entryPoints, StepName::buildInformation, StepName::descriptor})
        inspection.steps.push_back({name, StepState::ok, 0, {}});
}

void failAt(Inspection& inspection, StepName name, int errorNumber, const std::string& text,
            Misdeed misdeed) {
    setAllSteps(inspection);
    for (Step& step : inspection.steps) {
        if (step.name == name) step = {name, StepState::failed, errorNumber, text, misdeed};
        if (step.name > name) step.state = StepState::notReached;
    }
}

bool takeStaticSteps(const std::string& file, Depth depth, Inspection& inspection) {
    inspection.file = readLibraryFile(file, depth == Depth::everything ? Exports::read : Exports::skip);
    const LibraryFile& read = inspection.file;
    if (read.problem != Problem::none) {
        failAt(inspection, stepOf(read.problem), read.errorNumber, read.errorText);
        return !regularFileIdentity(read.path).empty();
    }
    if (!isForThisSystem(read)) {
        if (depth == Depth::descriptor) inspection.file = readLibraryFile(file, Exports::read);
        takeStepsByReading(inspection);
        return false;
    }
    inspection.libraries = findNeededLibraries(read);
    const std::string problem = librariesProblem(inspection);
    if (!problem.empty()) failAt(inspection, StepName::libraries, 0, problem);
    return true;
}

}  // namespace qvp
