#include "commands/Advice.h"
#include "commands/Documents.h"
#include "commands/WhySteps.h"
#include "commands/WhyText.h"
#include "inspect/PluginName.h"

#include <algorithm>
#include <set>

namespace qvp {
namespace {

// Who asked for a plugin, who asked for that one, and so on; each plugin once, below the one that it asks
// for.
class Askers {
public:
    explicit Askers(const Catalogue& catalogue) : catalogue_(catalogue) {}

    Document of(std::size_t place) {
        seen_.insert(place);
        for (const std::size_t dependent : catalogue_.entries()[place].dependents) {
            for (const Entry::Edge& edge : catalogue_.entries()[dependent].dependencies) {
                if (edge.target == place && add(dependent, edge, 1)) break;
            }
        }
        return std::move(list_);
    }

    /// Of those who ask for a name that nobody has.
    Document of(const std::string& name) {
        for (const std::size_t place : catalogue_.readingOrder()) {
            for (const Entry::Edge& edge : catalogue_.entries()[place].dependencies) {
                if (isSameName(edge.name, name) && add(place, edge, 1)) break;
            }
        }
        return std::move(list_);
    }

private:
    bool add(std::size_t place, const Entry::Edge& asked, int level) {
        if (!seen_.insert(place).second) return false;
        const Entry& entry = catalogue_.entries()[place];
        Document asker = shortDocument(entry);
        asker["asksFor"] = asked.name;
        asker["required"] = asked.version.toString();
        asker["state"] = stateOf(entry);
        asker["level"] = level;
        list_.push_back(std::move(asker));
        for (const std::size_t dependent : entry.dependents) {
            for (const Entry::Edge& edge : catalogue_.entries()[dependent].dependencies) {
                if (edge.target == place && add(dependent, edge, level + 1)) break;
            }
        }
        return true;
    }

    const Catalogue& catalogue_;
    std::set<std::size_t> seen_;
    Document list_ = Document::array();
};

Document failingOf(const Document& askers) {
    Document failing = Document::array();
    for (const Document& asker : askers)
        failing.push_back({{"name", asker["name"]}, {"file", asker["file"]}});
    return failing;
}

Document becauseOf(const Catalogue& catalogue, std::size_t place) {
    Document chain = Document::array();
    for (const std::size_t link : causeOf(catalogue, place)) {
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

class WhyCommand : public Command {
public:
    const char* name() const override { return "why"; }
    const char* summary() const override {
        return "Why a plugin is not loaded, who asked for it, and what to do";
    }

    void addOptions(CLI::App& app) override { addPluginArgument(app, plugin_); }

    Document run(const Setting& setting) override {
        const Catalogue catalogue(setting.directories, filesFor(plugin_, setting), setting.limits,
                                  setting.onProgress);
        const std::size_t place = catalogue.find(plugin_);
        return place == Entry::kNone ? aboutMissing(catalogue, setting) : about(catalogue, place, setting);
    }

    void print(const Document& document, Page& page) const override { printWhy(document, page); }

private:
    Document about(const Catalogue& catalogue, std::size_t place, const Setting& setting) const {
        const Entry& entry = catalogue.entries()[place];
        const WhySteps taken = takeSteps(catalogue, place, setting);
        const bool isWell = taken.isWell() && !entry.isDuplicate() && entry.isCalledLikeItsPlugin();
        Document steps = Document::array();
        for (const Step& step : taken.steps) steps.push_back(stepDocument(step));
        std::vector<std::string> advice = adviceFor(catalogue, place, taken.steps);
        if (!entry.isCalledLikeItsPlugin()) advice.push_back(adviceForMisnamed(entry));
        if (entry.isDuplicate())
            advice.push_back("Remove one of the two files: dependents of " + entry.name() + " get " +
                             catalogue.entries()[entry.takenInstead].path + ".");
        Document askers = Askers(catalogue).of(place);
        Document failing = taken.isWell() ? Document::array() : failingOf(askers);
        return {{"ok", isWell},
                {"argument", plugin_},
                {"verdict", taken.verdict(entry)},
                {"plugin", pluginDocument(catalogue, place)},
                {"steps", std::move(steps)},
                {"missingLibraries", librariesOf(taken.libraries)},
                {"dependencies", dependenciesDocument(catalogue, entry)},
                {"because", entry.problem.empty() ? Document::array() : becauseOf(catalogue, place)},
                {"askedBy", std::move(askers)},
                {"fails", std::move(failing)},
                {"callStack", taken.callStack},
                {"advice", advice}};
    }

    Document aboutMissing(const Catalogue& catalogue, const Setting& setting) const {
        std::vector<std::string> folders;
        for (const SearchDirectory& directory : setting.directories) folders.push_back(directory.path);
        Document steps = Document::array();
        for (int step = 0; step <= static_cast<int>(StepName::initialization); ++step)
            steps.push_back(stepDocument({static_cast<StepName>(step), StepState::notReached, 0, {}}));
        steps[0] = stepDocument({StepName::found, StepState::failed, 0,
                                 "There is no file " + plugin_ + " or " + plugin_ + ".qvp."});
        Document askers = Askers(catalogue).of(plugin_);
        Document failing = failingOf(askers);
        return {{"ok", false},
                {"argument", plugin_},
                {"verdict", plugin_ + " is not loaded: no file of that name was found."},
                {"plugin", Document()},
                {"steps", std::move(steps)},
                {"missingLibraries", Document::array()},
                {"dependencies", Document::array()},
                {"because", Document::array()},
                {"askedBy", std::move(askers)},
                {"fails", std::move(failing)},
                {"callStack", ""},
                {"advice", std::vector<std::string>{adviceForMissing(catalogue, plugin_)}},
                {"lookedIn", folders}};
    }

    std::string plugin_;
};

}  // namespace

std::unique_ptr<Command> makeWhyCommand() { return std::make_unique<WhyCommand>(); }

}  // namespace qvp
