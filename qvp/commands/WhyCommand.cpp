#include "QvPluginSystem/rules/PluginRules.h"
#include "base/DepthFirst.h"
#include "commands/Advice.h"
#include "commands/CommonText.h"
#include "commands/Documents.h"
#include "commands/WhySteps.h"

#include <algorithm>
#include <optional>
#include <set>

namespace qvp {
namespace {

// The direct and indirect dependents of a plugin, each once, after the plugin that it depends on.
class Dependents {
public:
    explicit Dependents(const Catalogue& catalogue) : catalogue_(catalogue) {}

    Document of(std::size_t index) {
        seen_.insert(index);
        const Dependent itself{index, nullptr, 0};
        for (std::size_t i = 0; const auto dependent = dependentOf(itself, i); ++i) add(*dependent);
        return std::move(list_);
    }

    /// The dependents of a name for which there is no plugin.
    Document of(const std::string& name) {
        for (const std::size_t index : catalogue_.readingOrder()) {
            for (const Entry::Edge& edge : catalogue_.entries()[index].dependencies) {
                if (!QvPluginSystem::rules::isSameName(edge.name, name)) continue;
                add({index, &edge, 1});
                break;
            }
        }
        return std::move(list_);
    }

private:
    struct Dependent {
        std::size_t index;
        const Entry::Edge* dependency;
        int level;
    };

    void add(const Dependent& first) {
        base::visitDepthFirst(
            first, [this](const Dependent& each) { return enter(each); },
            [this](const Dependent& each, std::size_t i) { return dependentOf(each, i); },
            [](const Dependent&) {});
    }

    bool enter(const Dependent& dependent) {
        if (!seen_.insert(dependent.index).second) return false;
        const Entry& entry = catalogue_.entries()[dependent.index];
        Document document = shortDocument(entry);
        document["asksFor"] = dependent.dependency->name;
        document["required"] = dependent.dependency->version.toString();
        document["state"] = stateOf(entry);
        document["level"] = dependent.level;
        list_.push_back(std::move(document));
        return true;
    }

    // Nothing past the last one.
    std::optional<Dependent> dependentOf(const Dependent& needed, std::size_t i) const {
        const auto& dependents = catalogue_.entries()[needed.index].dependents;
        if (i == dependents.size()) return std::nullopt;
        const auto& edges = catalogue_.entries()[dependents[i]].dependencies;
        const auto edge = std::find_if(edges.begin(), edges.end(),
                                       [&](const Entry::Edge& each) { return each.target == needed.index; });
        if (edge == edges.end()) return needed;
        return Dependent{dependents[i], &*edge, needed.level + 1};
    }

    const Catalogue& catalogue_;
    std::set<std::size_t> seen_;
    Document list_ = Document::array();
};

constexpr std::size_t kMostAdvice = 10;

Document failingOf(const Document& dependents) {
    Document failing = Document::array();
    for (const Document& dependent : dependents)
        failing.push_back({{"name", dependent["name"]}, {"file", dependent["file"]}});
    return failing;
}

Document becauseOf(const Catalogue& catalogue, std::size_t index) {
    Document chain = Document::array();
    for (const std::size_t link : causeOf(catalogue, index)) {
        Document document = shortDocument(catalogue.entries()[link]);
        document["problem"] = catalogue.entries()[link].problem;
        chain.push_back(std::move(document));
    }
    return chain;
}

Document librariesOf(const std::vector<NeededLibrary>& libraries) {
    Document missing = Document::array();
    for (const NeededLibrary& library : libraries) {
        const bool isUsable = !library.isMissing() && library.problem == LibraryFile::Problem::none;
        if (!isUsable) missing.push_back(libraryDocument(library));
    }
    return missing;
}

Document symbolsOf(const std::vector<MissingSymbol>& symbols) {
    Document missing = Document::array();
    for (const MissingSymbol& symbol : symbols)
        missing.push_back({{"name", symbol.name},
                           {"version", symbol.version},
                           {"neededBy", symbol.neededBy},
                           {"library", symbol.library.empty() ? Document() : Document(symbol.library)},
                           {"isLinked", symbol.isLinked}});
    return missing;
}

Document misnamedOf(const std::vector<Misnamed>& misnamed) {
    Document list = Document::array();
    for (const Misnamed& each : misnamed)
        list.push_back({{"plugin", each.plugin},
                        {"file", each.file},
                        {"lookedFor", each.lookedFor},
                        {"renameTo", each.renameTo}});
    return list;
}

class WhyCommand : public Command {
public:
    const char* name() const override { return "why"; }
    const char* summary() const override {
        return "Explains why a plugin is not loaded, lists its dependents, and says what to do";
    }

    void addOptions(Syntax& syntax) override { addPluginArgument(syntax, plugin_); }

    Document run(const Setting& setting) override {
        const Catalogue catalogue(setting.directories, filesFor(plugin_, setting), setting.limits,
                                  setting.onProgress);
        const std::size_t index = catalogue.find(plugin_);
        return index == Entry::kNone ? aboutMissing(catalogue, setting) : about(catalogue, index, setting);
    }

    void print(const Document& document, Page& page) const override { printWhy(document, page); }

private:
    Document about(const Catalogue& catalogue, std::size_t index, const Setting& setting) const {
        const Entry& entry = catalogue.entries()[index];
        const WhySteps taken = takeSteps(catalogue, index, setting);
        const std::vector<Misnamed> misnamed = misnamedFor(catalogue, index);
        const bool isOk =
            taken.isOk() && taken.afterInitialization.empty() && !entry.isDuplicate() && misnamed.empty();
        Document steps = Document::array();
        for (const Step& step : taken.steps) steps.push_back(stepDocument(step));
        std::vector<std::string> advice = adviceFor(catalogue, index, taken);
        for (const Misnamed& each : misnamed) advice.push_back(adviceForMisnamed(each));
        if (entry.isDuplicate())
            advice.push_back("Remove one of the two files: dependents of " + entry.name() + " get " +
                             catalogue.entries()[entry.takenInstead].path + ".");
        Document dependents = Dependents(catalogue).of(index);
        Document failing = taken.isOk() ? Document::array() : failingOf(dependents);
        return {{"ok", isOk},
                {"argument", plugin_},
                {"verdict", taken.verdict(entry)},
                {"plugin", pluginDocument(catalogue, index)},
                {"steps", std::move(steps)},
                {"missingLibraries", librariesOf(taken.libraries)},
                {"missingSymbols", symbolsOf(taken.missingSymbols)},
                {"misnamed", misnamedOf(misnamed)},
                {"dependencies", dependenciesDocument(catalogue, entry)},
                {"because", entry.problem.empty() ? Document::array() : becauseOf(catalogue, index)},
                {"askedBy", std::move(dependents)},
                {"fails", std::move(failing)},
                {"afterInitialization", taken.afterInitialization},
                {"callStack", taken.callStack},
                {"printed", shownOutput(taken.printed)},
                {"advice", firstOf(advice, kMostAdvice)}};
    }

    Document aboutMissing(const Catalogue& catalogue, const Setting& setting) const {
        std::vector<std::string> folders;
        for (const SearchDirectory& directory : setting.directories) folders.push_back(directory.path);
        Document steps = Document::array();
        for (int step = 0; step <= static_cast<int>(StepName::initialization); ++step)
            steps.push_back(stepDocument({static_cast<StepName>(step), StepState::notReached, 0, {}}));
        steps[0] = stepDocument({StepName::found, StepState::failed, 0,
                                 "There is no file " + plugin_ + " or " + plugin_ + ".qvp."});
        std::vector<Misnamed> misnamed;
        if (const auto other = misnamedAs(catalogue, plugin_)) misnamed.push_back(*other);
        Document dependents = Dependents(catalogue).of(plugin_);
        Document failing = failingOf(dependents);
        return {{"ok", false},
                {"argument", plugin_},
                {"verdict", plugin_ + " is not loaded: no file with that name was found."},
                {"plugin", Document()},
                {"steps", std::move(steps)},
                {"missingLibraries", Document::array()},
                {"missingSymbols", Document::array()},
                {"misnamed", misnamedOf(misnamed)},
                {"dependencies", Document::array()},
                {"because", Document::array()},
                {"askedBy", std::move(dependents)},
                {"fails", std::move(failing)},
                {"afterInitialization", ""},
                {"callStack", ""},
                {"printed", ""},
                {"advice", std::vector<std::string>{adviceForMissing(catalogue, plugin_, {})}},
                {"lookedIn", folders}};
    }

    std::string plugin_;
};

}  // namespace

std::unique_ptr<Command> makeWhyCommand() { return std::make_unique<WhyCommand>(); }

}  // namespace qvp
