#include "commands/CommonText.h"
#include "commands/Documents.h"
#include "commands/TrialText.h"
#include "inspect/PluginFinder.h"

#include <QvPlatform/filesystem/File.h>

#include <array>
#include <cstdio>

namespace qvp {
namespace {

Document failuresDocument(const Trial& trial) {
    Document failures = Document::array();
    for (const Trial::Failure& failure : trial.failures)
        failures.push_back({{"plugin", failure.plugin}, {"file", failure.file}, {"text", failure.text}});
    return failures;
}

Document phasesDocument(const Trial& trial) {
    Document phases = Document::array();
    for (const Trial::Phase& phase : trial.phases)
        phases.push_back({{"name", phase.name}, {"seconds", phase.seconds}});
    return phases;
}

Document leftoversDocument(const Trial& trial) {
    Document leftovers = Document::array();
    for (const Trial::Leftover& leftover : trial.leftovers)
        leftovers.push_back({{"kind", leftover.kind}, {"text", leftover.text}, {"round", leftover.round}});
    return leftovers;
}

/// What is wrong, one sentence per problem; empty if the plugin loads and unloads cleanly.
std::vector<std::string> problemsOf(const Trial& trial) {
    std::vector<std::string> problems;
    if (!trial.initialized) {
        problems.push_back("It was not initialized: " + failureOf(trial));
        return problems;
    }
    if (const std::string disturbance = disturbanceOf(trial); !disturbance.empty())
        problems.push_back("The trial ended early: " + disturbance);
    for (std::string& leftover : leftoverProblemsOf(trial)) problems.push_back(std::move(leftover));
    if (!trial.isFinished) return problems;
    if (!trial.uninitialized) problems.push_back("It could not be unloaded: " + failureOf(trial));
    if (!trial.left.empty())
        problems.emplace_back("It left objects in the pool, but their code is unloaded with the plugin.");
    if (trial.uninitialized && !trial.unmapped)
        problems.emplace_back(
            "Its file is still in memory after it was closed: the plugin, or something that it started, "
            "keeps it open.");
    return problems;
}

std::string duration(double seconds) {
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%.3f ms", seconds * 1e3);
    return text.data();
}

void printNames(const std::string& title, const std::vector<std::string>& names, Style style, Page& page) {
    if (names.empty()) return;
    page.heading(title);
    for (const std::string& name : names) page.paragraph({name, style}, 2, 2);
}

// Why the file is not tried; "" if it can be. To open a pipe would not end.
std::string problemOfFile(const std::string& file) {
    const std::string path = QvPlatform::File(file).toUniversalPath();
    if (!regularFileIdentity(path).empty()) return {};
    return "It was not opened: " + path + ": " + readLibraryFile(path, Exports::skip).errorText;
}

class ProbeCommand : public Command {
public:
    const char* name() const override { return "probe"; }
    const char* summary() const override {
        return "Loads, initializes, uninitializes and closes a plugin in a separate process";
    }

    void addOptions(Syntax& syntax) override {
        syntax.add("FILE", file_, "The plugin's file or name", {.isRequired = true});
        syntax.addNumber("--repeat", rounds_, 1000000, "How often to do it, in the same process");
    }

    Document run(const Setting& setting) override {
        const std::vector<std::string> files = filesFor(file_, setting);
        const std::string file = files.empty() ? file_ : files.front();
        TrialRequest request{file};
        for (const SearchDirectory& directory : setting.directories)
            request.directories.push_back(directory.path);
        request.rounds = rounds_;
        const std::string unusable = files.empty()
                                         ? "There is no plugin " + file_ + " in the search directories."
                                         : problemOfFile(file);
        const Trial trial = unusable.empty() ? tryPlugin(request, setting.limits.time) : Trial();
        const std::vector<std::string> problems =
            unusable.empty() ? problemsOf(trial) : std::vector<std::string>{unusable};
        return {{"ok", problems.empty()},
                {"file", file},
                {"initialized", trial.initialized},
                {"rounds", trial.rounds},
                {"uninitialized", trial.uninitialized},
                {"unmapped", trial.unmapped},
                {"phases", phasesDocument(trial)},
                {"initializationOrder", trial.order},
                {"published", trial.published},
                {"left", trial.left},
                {"leftovers", leftoversDocument(trial)},
                {"failures", failuresDocument(trial)},
                {"problems", problems},
                {"callStack", trial.crashStack},
                {"printed", shownOutput(trial.end.output)}};
    }

    void print(const Document& document, Page& page) const override {
        const bool isOk = document["ok"].get<bool>();
        page.paragraph({textOf(document, "file") + (isOk ? " loads and unloads cleanly" : " has problems"),
                        isOk ? Style::good : Style::bad});
        printNames("Problems", textsOf(document["problems"]), Style::bad, page);
        printPhases(document["phases"], page);
        printNames("Initialized in this order", textsOf(document["initializationOrder"]), Style::plain, page);
        printNames("Published objects", textsOf(document["published"]), Style::plain, page);
        printNames("Objects not withdrawn", textsOf(document["left"]), Style::bad, page);
        if (const std::string stack = textOf(document, "callStack"); !stack.empty()) {
            page.heading("Call stack");
            page.verbatim(stack);
        }
        printOutput(document, page);
    }

private:
    static void printPhases(const Document& phases, Page& page) {
        if (phases.empty()) return;
        page.heading("Time");
        Table table;
        for (const Document& phase : phases)
            table.rows.push_back({{{textOf(phase, "name")}, {duration(phase["seconds"].get<double>())}}, {}});
        page.table(table);
    }

    std::string file_;
    unsigned rounds_ = 1;
};

}  // namespace

std::unique_ptr<Command> makeProbeCommand() { return std::make_unique<ProbeCommand>(); }

}  // namespace qvp
