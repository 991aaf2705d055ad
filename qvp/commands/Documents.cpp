#include "commands/Documents.h"

#include <QvPlatform/filesystem/File.h>

#include "report/Text.h"

#include <map>

namespace qvp {
namespace {

constexpr const char* kStepNames[] = {"found",        "readable",      "architecture",     "libraries",
                                      "opened",       "entryPoints",   "buildInformation", "descriptor",
                                      "dependencies", "initialization"};

const char* stateText(StepState state) {
    switch (state) {
        case StepState::ok:
            return "ok";
        case StepState::failed:
            return "failed";
        case StepState::needsOtherSystem:
            return "needsOtherSystem";
        default:
            return "notReached";
    }
}

Document namesOf(const Catalogue& catalogue, const std::vector<std::size_t>& indices) {
    Document names = Document::array();
    for (const std::size_t index : indices) names.push_back(catalogue.entries()[index].name());
    return names;
}

// The version of `target` that `from` requires; "" if it does not depend on it.
std::string requiredVersion(const Entry& from, std::size_t target, const std::string& targetName) {
    for (const Entry::Edge& edge : from.dependencies) {
        if (edge.target == target || edge.name == targetName) return edge.version.toString();
    }
    return {};
}

Document dependencyDocument(const Catalogue& catalogue, const Entry::Edge& edge) {
    Document dependency{{"name", edge.name}, {"required", edge.version.toString()}};
    const Entry* target = edge.target == Entry::kNone ? nullptr : &catalogue.entries()[edge.target];
    const bool isKnown = target && target->inspection.descriptor;
    dependency["version"] =
        isKnown ? Document(target->inspection.descriptor->version.toString()) : Document();
    dependency["compatibleSince"] =
        isKnown ? Document(target->inspection.descriptor->compatibilityVersion.toString()) : Document();
    dependency["file"] = target ? Document(target->path) : Document();
    dependency["problem"] = edge.problem;
    return dependency;
}

}  // namespace

std::string stepTitle(const std::string& step) {
    if (step == "entryPoints") return "entry points";
    return step == "buildInformation" ? "build information" : step;
}

std::string stateOf(const Entry& entry) {
    if (entry.inspection.isOnlyRead()) return "otherSystem";
    if (!entry.shownProblem().empty()) return "refused";
    return entry.isDuplicate() ? "duplicate" : "ok";
}

Style styleOf(const std::string& state) {
    if (state == "ok") return Style::good;
    const bool isDoubtful =
        state == "duplicate" || state == "not reached" || state == "otherSystem" || state == "other system";
    return isDoubtful ? Style::doubtful : Style::bad;
}

Document shortDocument(const Entry& entry) { return {{"name", entry.name()}, {"file", entry.path}}; }

Document pluginDocument(const Catalogue& catalogue, std::size_t index) {
    const Entry& entry = catalogue.entries()[index];
    const auto& descriptor = entry.inspection.descriptor;
    Document plugin{{"state", stateOf(entry)}, {"name", entry.name()}};
    plugin["displayName"] = descriptor ? Document(descriptor->getDisplayName()) : Document();
    plugin["version"] = descriptor ? Document(descriptor->version.toString()) : Document();
    plugin["compatibleSince"] =
        descriptor ? Document(descriptor->compatibilityVersion.toString()) : Document();
    plugin["vendor"] = descriptor ? Document(descriptor->vendor) : Document();
    plugin["dependents"] = namesOf(catalogue, entry.dependents);
    plugin["file"] = entry.path;
    plugin["problem"] = entry.shownProblem();
    plugin["finding"] = entry.finding();
    plugin["takenInstead"] =
        entry.isDuplicate() ? Document(catalogue.entries()[entry.takenInstead].path) : Document();
    return plugin;
}

Document dependenciesDocument(const Catalogue& catalogue, const Entry& entry) {
    Document dependencies = Document::array();
    for (const Entry::Edge& edge : entry.dependencies)
        dependencies.push_back(dependencyDocument(catalogue, edge));
    return dependencies;
}

Document directoriesDocument(const std::vector<SearchDirectory>& directories) {
    Document list = Document::array();
    for (const SearchDirectory& directory : directories) {
        list.push_back({{"path", directory.path},
                        {"origin", directory.origin},
                        {"exists", directory.exists},
                        {"plugins", directory.pluginCount},
                        {"problem", directory.problem}});
    }
    return list;
}

std::vector<SearchDirectory> unusableDirectories(const Setting& setting) {
    std::vector<SearchDirectory> unusable = setting.directories;
    std::erase_if(unusable, [](const SearchDirectory& directory) {
        return directory.problem.empty() || (directory.origin == "default" && !directory.exists);
    });
    return unusable;
}

Document stepDocument(const Step& step) {
    return {{"step", kStepNames[static_cast<std::size_t>(step.name)]},
            {"state", stateText(step.state)},
            {"errorNumber", step.errorNumber},
            {"text", step.text}};
}

std::string problemText(const Document& plugin) {
    const std::string finding = textOf(plugin, "finding");
    return textOf(plugin, "problem") + (finding.empty() ? finding : " (" + finding + ")");
}

Document libraryDocument(const NeededLibrary& library) {
    Document passedOver = Document::array();
    for (const NeededLibrary::Unusable& file : library.passedOver)
        passedOver.push_back({{"file", file.path}, {"reason", file.reason}});
    return {{"name", library.name},
            {"neededBy", library.neededBy},
            {"file", library.path.empty() ? Document() : Document(library.path)},
            {"foundBy", library.foundBy},
            {"lookedIn", library.lookedIn},
            {"chain", library.chain},
            {"passedOver", std::move(passedOver)},
            {"problem", library.problemText}};
}

Document cyclesDocument(const Catalogue& catalogue) {
    Document cycles = Document::array();
    for (const std::vector<std::size_t>& path : catalogue.cycles()) {
        Document required = Document::array();
        Document files = Document::array();
        for (std::size_t i = 0; i + 1 < path.size(); ++i) {
            const std::string next = catalogue.entries()[path[i + 1]].name();
            required.push_back(requiredVersion(catalogue.entries()[path[i]], path[i + 1], next));
            files.push_back(catalogue.entries()[path[i]].path);
        }
        cycles.push_back({{"path", namesOf(catalogue, path)}, {"required", required}, {"files", files}});
    }
    return cycles;
}

Document duplicatesDocument(const Catalogue& catalogue) {
    std::map<std::size_t, Document> byTaken;
    for (const std::size_t index : catalogue.readingOrder()) {
        const Entry& entry = catalogue.entries()[index];
        if (entry.isDuplicate()) byTaken[entry.takenInstead].push_back(entry.path);
    }
    Document duplicates = Document::array();
    for (auto& [taken, others] : byTaken) {
        const Entry& entry = catalogue.entries()[taken];
        duplicates.push_back({{"name", entry.name()}, {"taken", entry.path}, {"others", std::move(others)}});
    }
    return duplicates;
}

std::string textOf(const Document& document, const char* key) {
    const auto found = document.find(key);
    return found != document.end() && found->is_string() ? found->get<std::string>() : std::string();
}

std::vector<std::string> textsOf(const Document& array) { return array.get<std::vector<std::string>>(); }

std::vector<std::string> textsOf(const Document& array, const char* key) {
    std::vector<std::string> texts;
    for (const Document& element : array) texts.push_back(textOf(element, key));
    return texts;
}

std::string pathText(const Document& cycle) {
    const std::vector<std::string> names = textsOf(cycle["path"]);
    const std::vector<std::string> required = textsOf(cycle["required"]);
    std::string text = names.front();
    for (std::size_t i = 0; i < required.size(); ++i)
        text += " -[" + shortVersion(required[i]) + "]-> " + names[i + 1];
    return text;
}

void printDuplicates(const Document& duplicates, Page& page) {
    if (duplicates.empty()) return;
    page.heading("Duplicate names");
    for (const Document& duplicate : duplicates) {
        page.paragraph({textOf(duplicate, "name"), Style::strong}, 2);
        Table table;
        table.rows.push_back({{{"used", Style::good}, {textOf(duplicate, "taken")}}, {}});
        for (const std::string& other : textsOf(duplicate["others"]))
            table.rows.push_back({{{"not used", Style::doubtful}, {other}}, {}});
        page.table(table, 4);
    }
}

Inspection closeLookAt(const std::string& path, const Setting& setting) {
    Inspection result;
    inspect({path}, Depth::everything, setting.limits,
            [&](std::size_t, Inspection inspection) { result = std::move(inspection); });
    return result;
}

void addPluginArgument(Syntax& syntax, std::string& nameOrPath) {
    syntax.add("plugin", nameOrPath, "The plugin's name or file", {.type = "NAME|FILE", .isRequired = true});
}

std::vector<std::string> filesFor(const std::string& nameOrPath, const Setting& setting) {
    const PluginFinder::Found found = PluginFinder(setting.directories).find(nameOrPath);
    if (!found.identity.empty()) return {found.path};
    const bool isPath = nameOrPath.find_first_of("/\\") != std::string::npos || nameOrPath.ends_with(".qvp");
    return isPath ? std::vector<std::string>{nameOrPath} : std::vector<std::string>{};
}

Catalogue catalogueFor(const std::vector<std::string>& files, const Setting& setting) {
    if (!files.empty()) {
        Catalogue needed(setting.directories, files, setting.limits, setting.onProgress, Extent::asNeeded);
        if (needed.isConclusive()) return needed;
    }
    return {setting.directories, files, setting.limits, setting.onProgress};
}

}  // namespace qvp
