#include <QvPlatform/filesystem/Filesystem.h>
#include <QvPlatform/system/Process.h>

#include "QvPluginSystem/rules/PluginRules.h"
#include "binary/FileContent.h"
#include "commands/Documents.h"
#include "inspect/DryRun.h"
#include "report/Picture.h"

#include <algorithm>
#include <array>
#include <map>

namespace qvp {
namespace {

namespace Filesystem = QvPlatform::Filesystem;
using QvPlatform::File;

// Returns "" if Graphviz is missing or fails.
std::string svgPicture(const std::string& dot) {
    const File in = Filesystem::createTempFile("qvp");
    const File out = Filesystem::createTempFile("qvp");
    std::int64_t exitCode = -1;
    const bool isDrawn = writeFile(in.toUniversalPath(), dot) &&
                         QvSim::Process::shellExecute(
                             "dot", "-Tsvg -o \"" + out.toNativePath() + "\" \"" + in.toNativePath() + "\"",
                             false, true, &exitCode) &&
                         exitCode == 0;
    std::string picture;
    if (isDrawn) {
        const FileContent content(out.toUniversalPath());
        picture = content.read(0, content.size());
    }
    Filesystem::remove(in);
    Filesystem::remove(out);
    return picture;
}

class Drawing {
public:
    explicit Drawing(const Catalogue& catalogue) : catalogue_(catalogue) {
        for (const std::size_t index : catalogue.readingOrder()) addPlugin(index);
        for (const std::size_t index : catalogue.readingOrder()) addEdges(index);
    }

    Document take() { return {{"ok", isOk_}, {"nodes", std::move(nodes_)}, {"edges", std::move(edges_)}}; }

private:
    static std::string idOf(std::size_t number) { return "n" + std::to_string(number); }

    void addNode(std::size_t number, const std::string& name, const Document& version,
                 const std::string& state, const Document& file) {
        nodes_.push_back(
            {{"id", idOf(number)}, {"name", name}, {"version", version}, {"state", state}, {"file", file}});
        isOk_ = isOk_ && state == "ok";
    }

    void addPlugin(std::size_t index) {
        const Entry& entry = catalogue_.entries()[index];
        const auto& descriptor = entry.inspection.descriptor;
        numbers_[index] = nodes_.size();
        addNode(numbers_[index], entry.name(),
                descriptor ? Document(descriptor->version.toString()) : Document(), stateOf(entry),
                entry.path);
    }

    void addEdges(std::size_t index) {
        for (const Entry::Edge& edge : catalogue_.entries()[index].dependencies) {
            const bool isFound = edge.target != Entry::kNone;
            const std::size_t target = isFound ? numbers_.at(edge.target) : missing(edge.name);
            edges_.push_back({{"from", idOf(numbers_.at(index))},
                              {"to", idOf(target)},
                              {"name", edge.name},
                              {"required", edge.version.toString()},
                              {"problem", edge.problem},
                              {"inCycle", !edge.problem.empty() && isInCycle(index, edge)}});
        }
    }

    // The manager reports the cycle for one of its edges only.
    bool isInCycle(std::size_t index, const Entry::Edge& edge) const {
        if (edge.problem == QvPluginSystem::rules::cycleMessage(edge.name)) return true;
        const auto& cycles = catalogue_.cycles();
        return std::any_of(cycles.begin(), cycles.end(), [&](const std::vector<std::size_t>& path) {
            const std::array<std::size_t, 2> step{index, edge.target};
            return std::search(path.begin(), path.end(), step.begin(), step.end()) != path.end();
        });
    }

    // One node for each name for which no file was found.
    std::size_t missing(const std::string& name) {
        const auto [known, isNew] = missing_.emplace(QvPluginSystem::rules::foldedName(name), nodes_.size());
        if (isNew) addNode(known->second, name, Document(), "missing", Document());
        return known->second;
    }

    const Catalogue& catalogue_;
    Document nodes_ = Document::array();
    Document edges_ = Document::array();
    std::map<std::size_t, std::size_t> numbers_;  // of the nodes, by index of the entry
    std::map<std::string, std::size_t> missing_;  // by folded name
    bool isOk_ = true;
};

class GraphCommand : public Command {
public:
    const char* name() const override { return "graph"; }
    const char* summary() const override { return "Draws the plugins and their dependencies"; }

    void addOptions(Syntax& syntax) override {
        syntax.add("--format", format_, "dot, svg (drawn by Graphviz) or mermaid",
                   {.choices = {"dot", "svg", "mermaid"}});
        syntax.add("-o,--output", output_, "The file to write; by default, standard output",
                   {.type = "FILE"});
    }

    Document run(const Setting& setting) override {
        Document document =
            Drawing(Catalogue(setting.directories, {}, setting.limits, setting.onProgress)).take();
        document["format"] = format_;
        document["picture"] = format_ == "mermaid" ? mermaidPicture(document) : dotPicture(document);
        document["output"] = output_.empty() ? Document() : Document(File(output_).toUniversalPath());
        document["message"] = "";
        if (format_ == "svg") document["picture"] = svgPicture(document["picture"]);
        if (textOf(document, "picture").empty())
            fail(document,
                 "Graphviz produced no picture. Its program dot must be in the PATH (on Debian, install the "
                 "package graphviz). Or use --format dot or --format mermaid.");
        else if (!output_.empty() && !writeFile(output_, document["picture"]))
            fail(document, "Could not write the picture to " + output_);
        return document;
    }

    void print(const Document& document, Page& page) const override {
        if (!textOf(document, "message").empty())
            page.paragraph({textOf(document, "message"), Style::bad});
        else if (document["output"].is_null())
            page.verbatim(textOf(document, "picture"));
        else
            page.paragraph({"Wrote the picture to " + textOf(document, "output")});
    }

private:
    static void fail(Document& document, const std::string& message) {
        document["ok"] = false;
        document["message"] = message;
    }

    std::string format_ = "dot";
    std::string output_;
};

}  // namespace

std::unique_ptr<Command> makeGraphCommand() { return std::make_unique<GraphCommand>(); }

}  // namespace qvp
