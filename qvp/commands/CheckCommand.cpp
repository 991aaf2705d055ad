#include <QvPlatform/filesystem/File.h>

#include "commands/CommonText.h"
#include "commands/Documents.h"
#include "commands/Warnings.h"
#include "report/Text.h"

#include <algorithm>
#include <set>

namespace qvp {
namespace {

constexpr std::size_t kMostDependencies = 20;  // problems of one plugin

// Collects the problems of the chosen entries.
class Findings {
public:
    Findings(const Catalogue& catalogue, const std::vector<std::size_t>& indices)
        : catalogue_(catalogue), indices_(indices) {}

    Document take() {
        for (const std::size_t index : indices_) addOf(catalogue_.entries()[index]);
        addCycles();
        return std::move(problems_);
    }

private:
    void add(const Entry& entry, const std::string& kind, const std::string& text,
             const std::string& message = {}) {
        problems_.push_back({{"kind", kind},
                             {"plugin", entry.name()},
                             {"file", entry.path},
                             {"text", text},
                             {"message", message},
                             {"printed", message.empty() ? "" : shownOutput(entry.inspection.printed)}});
    }

    void addOf(const Entry& entry) {
        if (entry.inspection.isOnlyRead()) return;  // see `onlyReadDocument`
        for (const Step& step : entry.inspection.steps) {
            if (step.state == StepState::failed)
                return add(entry, stepDocument(step)["step"], step.text, entry.problem);
        }
        for (const std::string& problem : firstOf(entry.dependencyProblems(), kMostDependencies))
            add(entry, "dependencies", problem, entry.problem);
        const std::string fileName = QvPlatform::File(entry.path).getName();
        if (!entry.isCalledLikeItsPlugin())
            add(entry, "fileName",
                "The file is named " + fileName + ", not " + entry.name() +
                    ".qvp: dependents will not find it");
        if (entry.isDuplicate())
            add(entry, "duplicate",
                "Another file is used for this name: " + catalogue_.entries()[entry.takenInstead].path);
    }

    void addCycles() {
        const std::set<std::size_t> concerned(indices_.begin(), indices_.end());
        const Document cycles = cyclesDocument(catalogue_);
        for (std::size_t i = 0; i < cycles.size(); ++i) {
            const std::vector<std::size_t>& path = catalogue_.cycles()[i];
            const bool isConcerned = std::any_of(
                path.begin(), path.end(), [&](std::size_t index) { return concerned.count(index) != 0; });
            if (isConcerned)
                add(catalogue_.entries()[path.front()], "cycle", "Dependency cycle: " + pathText(cycles[i]));
        }
    }

    const Catalogue& catalogue_;
    const std::vector<std::size_t>& indices_;
    Document problems_ = Document::array();
};

// A plugin for the other system, and its steps that could not be taken here.
Document onlyReadDocument(const Entry& entry) {
    Document steps = Document::array();
    for (const Step& step : entry.inspection.steps) {
        if (step.state == StepState::needsOtherSystem) steps.push_back(stepDocument(step)["step"]);
    }
    return {{"plugin", entry.name()},
            {"file", entry.path},
            {"system", systemOf(entry.inspection.file.kind)},
            {"steps", std::move(steps)}};
}

std::string printedName(const Document& problem) {
    const std::string plugin = textOf(problem, "plugin");
    return plugin.empty() ? plugin : plugin + "  ";
}

void printOnlyRead(const Document& plugins, Page& page) {
    for (const Document& plugin : plugins) {
        page.paragraph({printedName(plugin) + textOf(plugin, "file"), Style::strong}, 0, 2);
        std::vector<std::string> steps = textsOf(plugin["steps"]);
        std::transform(steps.begin(), steps.end(), steps.begin(), stepTitle);
        page.paragraph({"needs " + textOf(plugin, "system") + " for " + listed(steps), Style::doubtful}, 4,
                       2);
    }
}

class CheckCommand : public Command {
public:
    const char* name() const override { return "check"; }
    const char* summary() const override {
        return "Checks files, or all plugins: every step except initialization";
    }

    void addOptions(Syntax& syntax) override {
        syntax.setFooter(
            "Exit status: 0 all is OK, 1 a problem was found, 2 invalid command line or failed output,\n"
            "3 nothing failed, but a plugin for the other system was only read.");
        syntax.add("files", files_, "The files to check; by default, all in the search directories",
                   {.type = "FILE"});
    }

    Document run(const Setting& setting) override {
        const Catalogue catalogue = catalogueFor(files_, setting);
        std::set<std::size_t> given;
        for (const std::string& file : files_)
            given.insert(catalogue.find(QvPlatform::File(file).toUniversalPath()));
        std::vector<std::size_t> indices = catalogue.readingOrder();
        std::erase_if(indices, [&](std::size_t index) { return !files_.empty() && given.count(index) == 0; });

        std::vector<std::string> checkedFiles;
        Document checked = Document::array();
        Document onlyRead = Document::array();
        for (const std::size_t index : indices) {
            Document plugin = shortDocument(catalogue.entries()[index]);
            plugin["state"] = stateOf(catalogue.entries()[index]);
            checked.push_back(std::move(plugin));
            checkedFiles.push_back(catalogue.entries()[index].path);
            if (catalogue.entries()[index].inspection.isOnlyRead())
                onlyRead.push_back(onlyReadDocument(catalogue.entries()[index]));
        }
        Document problems = Findings(catalogue, indices).take();
        addDirectories(setting, problems);
        if (checked.empty() && problems.empty())
            problems.push_back(
                {{"kind", "nothing"},
                 {"plugin", ""},
                 {"file", ""},
                 {"text", "Nothing was checked: there is no plugin in the search directories"}});
        return {{"ok", problems.empty() && onlyRead.empty()},
                {"checked", std::move(checked)},
                {"problems", std::move(problems)},
                {"warnings", warningsDocument(setting.directories, checkedFiles)},
                {"onlyRead", std::move(onlyRead)},
                {"cycles", cyclesDocument(catalogue)},
                {"duplicates", duplicatesDocument(catalogue)}};
    }

    int exitStatus(const Document& document) const override {
        constexpr int kNotEverythingChecked = 3;
        const bool isOnlyRead = document["problems"].empty() && !document["onlyRead"].empty();
        return isOnlyRead ? kNotEverythingChecked : Command::exitStatus(document);
    }

    void print(const Document& document, Page& page) const override {
        for (const Document& problem : document["problems"]) {
            const std::string title = printedName(problem) + textOf(problem, "file");
            if (!title.empty()) page.paragraph({title, Style::strong}, 0, 2);
            const std::string text = textOf(problem, "text");
            const std::string message = textOf(problem, "message");
            page.paragraph({text, Style::bad}, 4, 2);
            if (!message.empty() && message != text && textOf(problem, "kind") != "dependencies")
                page.paragraph({"reported by the manager: " + message, Style::faint}, 4, 2);
            printOutput(problem, page);
        }
        printOnlyRead(document["onlyRead"], page);
        printWarnings(document["warnings"], page);
        printDuplicates(document["duplicates"], page);
        const std::size_t all = document["checked"].size();
        if (all == 0) return page.heading("Checked no files");
        const std::size_t readCount = document["onlyRead"].size();
        std::set<std::string> failed;
        for (const Document& problem : document["problems"]) failed.insert(textOf(problem, "file"));
        page.heading("Checked " + std::to_string(all) + (all == 1 ? " file: " : " files: ") +
                     (failed.empty() ? std::string(readCount == 0 ? "all OK" : "nothing failed")
                                     : std::to_string(failed.size()) + " with problems") +
                     (readCount == 0 ? "" : ", " + std::to_string(readCount) + " only read"));
    }

private:
    // Without plugins, a directory to check is probably not the one that was meant.
    void addDirectories(const Setting& setting, Document& problems) const {
        const auto add = [&](const SearchDirectory& directory, const std::string& problem) {
            const std::string origin =
                directory.origin == "default" ? "the default one" : "given by " + directory.origin;
            problems.push_back({{"kind", "directory"},
                                {"plugin", ""},
                                {"file", directory.path},
                                {"text", "This directory, " + origin + ", " + problem}});
        };
        for (const SearchDirectory& directory : unusableDirectories(setting))
            add(directory, directory.problem);
        for (const SearchDirectory& directory : setting.directories) {
            if (files_.empty() && directory.origin == "--dir" && directory.problem.empty() &&
                directory.pluginCount == 0)
                add(directory, "contains no plugins");
        }
    }

    std::vector<std::string> files_;
};

}  // namespace

std::unique_ptr<Command> makeCheckCommand() { return std::make_unique<CheckCommand>(); }

}  // namespace qvp
