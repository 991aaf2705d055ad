#include "inspect/Catalogue.h"

#include <QvPlatform/filesystem/File.h>

#include "QvPluginSystem/rules/PluginRules.h"
#include "inspect/CycleFinder.h"
#include "inspect/DryRun.h"

#include <algorithm>
#include <numeric>
#include <unordered_set>

namespace qvp {
namespace {

namespace rules = QvPluginSystem::rules;

std::string firstProblem(const Inspection& inspection) {
    for (const Step& step : inspection.steps) {
        if (step.state == StepState::failed)
            return inspection.managersLine.empty() ? step.text : inspection.managersLine;
    }
    if (inspection.isOnlyRead())
        return std::string("This plugin is for ") + systemOf(inspection.file.kind) + ": it is only read.";
    const bool isNamed = inspection.descriptor && !inspection.descriptor->name.empty();
    return isNamed ? "" : rules::kEmptyNameMessage;
}

std::string problemOf(std::size_t index, const Entry::Edge& edge, const std::vector<Entry>& entries,
                      const CycleFinder& cycles) {
    using rules::Unmet;
    const QvPluginSystem::QvDependency dependency(edge.name, edge.version);
    if (edge.target == Entry::kNone) return messageFor(Unmet::notFound, dependency);
    const bool dependsOnItself = rules::isSameName(edge.name, entries[index].name());
    if (dependsOnItself || cycles.areOnOneCycle(index, edge.target)) return rules::cycleMessage(edge.name);
    const Entry& target = entries[edge.target];
    if (!target.problem.empty()) return messageFor(Unmet::notInitialized, dependency);
    const bool fits = rules::satisfies(*target.inspection.descriptor, dependency);
    return fits ? std::string() : messageFor(Unmet::notCompatible, dependency);
}

}  // namespace

std::string Entry::name() const {
    const auto& descriptor = inspection.descriptor;
    return descriptor && !descriptor->name.empty() ? descriptor->name : QvPlatform::File(path).getBaseName();
}

std::string Entry::finding() const {
    const Step* const failed = inspection.firstStep(StepState::failed);
    return failed && problem.find(failed->text) == std::string::npos ? failed->text : std::string();
}

std::vector<std::string> Entry::dependencyProblems() const {
    std::vector<std::string> problems{problem};
    for (const Edge& edge : dependencies) problems.push_back(edge.problem);
    std::erase(problems, std::string());
    return problems;
}

bool Entry::isUsable() const {
    const auto& descriptor = inspection.descriptor;
    return descriptor && !descriptor->name.empty() &&
           std::none_of(inspection.steps.begin(), inspection.steps.end(),
                        [](const Step& step) { return step.state == StepState::failed; });
}

bool Entry::isCalledLikeItsPlugin() const {
    if (!inspection.descriptor || inspection.descriptor->name.empty()) return true;
    if (hasOtherCaseOfExtension(path)) return false;
    const std::string wanted = QvPlatform::File(path).getFolderPath() + inspection.descriptor->name;
    const std::string identity = regularFileIdentity(path);
    return regularFileIdentity(wanted + ".qvp") == identity || regularFileIdentity(wanted) == identity;
}

std::string Entry::shownProblem() const {
    if (!problem.empty() || isListed || isInitialized || !hasOtherCaseOfExtension(path)) return problem;
    return std::string("The plugin manager does not load this file: its extension is ") +
           QvPlatform::File(path).getExtension() + ", not " + rules::kExtension + ".";
}

Catalogue::Catalogue(const std::vector<SearchDirectory>& directories, const std::vector<std::string>& files,
                     const ChildLimits& limits, const Progress& onProgress, Extent extent)
    : finder_(directories) {
    const bool isWhole = extent == Extent::everything;
    list(isWhole ? directories : std::vector<SearchDirectory>(), files);
    // What a dependency's name leads to may be a file that is not called *.qvp, and need more of those.
    for (std::size_t first = 0; first < entries_.size();) {
        const std::size_t end = entries_.size();
        inspectFrom(first, limits, onProgress);
        for (; first < end; ++first) {
            findDependencies(first);
            if (!isWhole) addNamesake(first);
        }
    }
    sortForReading();
    DryRun dryRun(entries_);
    dryRun.loadEverything();
    for (Entry& entry : entries_) {
        for (Entry::Edge& edge : entry.dependencies) {
            if (edge.target != Entry::kNone) continue;
            edge.target = dryRun.loadedFor(edge);
            edge.isFoundByChance = edge.target != Entry::kNone;
        }
    }
    findDependents();
    initializationOrder_ = dryRun.loaded();
    unloadOrder_ = dryRun.unloadEverything();
    for (const std::size_t index : initializationOrder_)
        firstLoaded_.emplace(rules::foldedName(entries_[index].name()), index);
    findDuplicates();
}

bool Catalogue::isConclusive() const {
    return std::all_of(entries_.begin(), entries_.end(), [](const Entry& entry) {
        return entry.isInitialized || (entry.isListed && !entry.isUsable() && entry.dependents.empty());
    });
}

// The file that the manager finds for the plugin's own name.
void Catalogue::addNamesake(std::size_t index) {
    if (!entries_[index].isUsable()) return;
    const PluginFinder::Found& found = finder_.find(entries_[index].inspection.descriptor->name);
    if (!found.identity.empty()) add(found.path, found.identity, false);
}

std::size_t Catalogue::add(const std::string& path, const std::string& identity, bool isListed) {
    // A file that is not there is an entry of its own: that is to be told.
    const auto [known, isNew] =
        byIdentity_.emplace(identity.empty() ? "missing " + path : identity, entries_.size());
    if (isNew) {
        Entry& entry = entries_.emplace_back();
        entry.path = path;
        entry.isListed = isListed;
    }
    return known->second;
}

void Catalogue::list(const std::vector<SearchDirectory>& directories, const std::vector<std::string>& files) {
    std::vector<std::pair<std::string, std::string>> inDirectories;
    std::unordered_set<std::string> identities;
    for (const SearchDirectory& directory : directories) {
        for (const std::string& path : pluginFilesIn(directory.path)) {
            inDirectories.emplace_back(path, regularFileIdentity(path));
            identities.insert(inDirectories.back().second);
        }
    }
    for (const std::string& file : files) {
        const std::string path = QvPlatform::File(file).toUniversalPath();
        const std::string identity = regularFileIdentity(path);
        if (identities.count(identity) == 0) add(path, identity, true);
    }
    for (const auto& [path, identity] : inDirectories) add(path, identity, true);
    for (const SearchDirectory& directory : directories) {
        for (const std::string& path : mistakableIn(directory.path))
            add(path, regularFileIdentity(path), false);
    }
}

void Catalogue::inspectFrom(std::size_t first, const ChildLimits& limits, const Progress& onProgress) {
    std::vector<std::string> paths;
    for (std::size_t index = first; index < entries_.size(); ++index) paths.push_back(entries_[index].path);
    std::size_t done = first;
    inspect(paths, Depth::descriptor, limits, [&](std::size_t index, Inspection inspection) {
        Entry& entry = entries_[first + index];
        entry.inspection = std::move(inspection);
        entry.problem = firstProblem(entry.inspection);
        onProgress(++done, entries_.size());
    });
}

void Catalogue::findDependencies(std::size_t index) {
    const Inspection& inspection = entries_[index].inspection;
    // A link to nothing is there; a path that was given may lead nowhere.
    const bool isThere =
        inspection.file.problem != LibraryFile::Problem::missing || inspection.file.isDanglingLink;
    if (isThere) byFoldedName_[rules::foldedName(entries_[index].name())].push_back(index);
    if (!inspection.descriptor) return;
    std::vector<Entry::Edge> edges;
    const auto needed = inspection.descriptor->dependencies;  // a copy: `add` moves the entries
    for (const auto& dependency : needed) {
        const PluginFinder::Found& found = finder_.find(dependency.name);
        const std::size_t target =
            found.identity.empty() ? Entry::kNone : add(found.path, found.identity, false);
        edges.push_back({dependency.name, dependency.version, target, {}});
    }
    entries_[index].dependencies = std::move(edges);
}

void Catalogue::sortForReading() {
    const auto folderOf = [this](std::size_t index) {
        return QvPlatform::File(entries_[index].path).getFolderPath();
    };
    readingOrder_.resize(entries_.size());
    std::iota(readingOrder_.begin(), readingOrder_.end(), std::size_t{0});
    for (auto first = readingOrder_.begin(); first != readingOrder_.end();) {
        const std::string folder = folderOf(*first);
        const auto end = std::find_if(first, readingOrder_.end(),
                                      [&](std::size_t index) { return folderOf(index) != folder; });
        std::sort(first, end,
                  [this](std::size_t a, std::size_t b) { return entries_[a].path < entries_[b].path; });
        first = end;
    }
}

void Catalogue::findDependents() {
    CycleFinder cycles(entries_, readingOrder_);
    cycles_ = cycles.takePaths();
    for (const std::size_t index : readingOrder_) {
        // The manager takes them in order, up to the first that it refuses.
        Entry& entry = entries_[index];
        const auto refused = std::find_if(entry.dependencies.begin(), entry.dependencies.end(),
                                          [](const Entry::Edge& edge) { return !edge.problem.empty(); });
        bool isTaken = entry.isInitialized || refused != entry.dependencies.end();
        for (Entry::Edge& edge : entry.dependencies) {
            const bool isRefused = !entry.isInitialized && !edge.problem.empty();
            if (!isRefused) edge.problem = isTaken ? "" : problemOf(index, edge, entries_, cycles);
            isTaken = isTaken && !isRefused;
            if (edge.target == Entry::kNone) continue;
            std::vector<std::size_t>& dependents = entries_[edge.target].dependents;
            if (dependents.empty() || dependents.back() != index) dependents.push_back(index);
        }
    }
}

void Catalogue::findDuplicates() {
    for (const auto& [name, indices] : byFoldedName_) {
        if (indices.size() < 2) continue;
        const std::size_t taken = find(entries_[indices.front()].name());
        for (const std::size_t index : indices) {
            if (index != taken) entries_[index].takenInstead = taken;
        }
    }
}

std::vector<std::size_t> Catalogue::mustBeLoadedBefore(std::size_t index) const {
    std::unordered_set<std::size_t> seen{index};
    std::unordered_set<std::size_t> found;
    std::vector<std::size_t> waiting{index};
    while (!waiting.empty()) {
        const Entry& entry = entries_[waiting.back()];
        waiting.pop_back();
        for (const Entry::Edge& edge : entry.dependencies) {
            if (edge.target == Entry::kNone) continue;
            if (edge.isFoundByChance) found.insert(edge.target);
            if (seen.insert(edge.target).second) waiting.push_back(edge.target);
        }
    }
    std::vector<std::size_t> ordered = initializationOrder_;
    std::erase_if(ordered, [&](std::size_t each) { return found.count(each) == 0; });
    return ordered;
}

std::size_t Catalogue::find(const std::string& nameOrPath) const {
    const auto missing = byIdentity_.find("missing " + QvPlatform::File(nameOrPath).toUniversalPath());
    if (missing != byIdentity_.end()) return missing->second;
    const auto file = byIdentity_.find(finder_.find(nameOrPath).identity);
    if (file != byIdentity_.end()) return file->second;
    // No file is called so; a plugin that was loaded before counts all the same.
    const auto named = byFoldedName_.find(rules::foldedName(nameOrPath));
    if (named == byFoldedName_.end()) return Entry::kNone;
    const auto loaded = firstLoaded_.find(named->first);
    return loaded == firstLoaded_.end() ? named->second.front() : loaded->second;
}

}  // namespace qvp
