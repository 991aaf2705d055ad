#include <QvPlatform/filesystem/Filesystem.h>
#include <QvPlatform/system/Process.h>

#include "binary/FileContent.h"
#include "commands/Documents.h"
#include "inspect/PluginName.h"
#include "inspect/Rehearsal.h"
#include "report/Picture.h"

#include <CLI/CLI.hpp>

#include <map>

namespace qvp {
namespace {

namespace Filesystem = QvPlatform::Filesystem;
using QvPlatform::File;

// "" when Graphviz is not there or fails.
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
        for (const std::size_t place : catalogue.readingOrder()) addPlugin(place);
        for (const std::size_t place : catalogue.readingOrder()) addEdges(place);
    }

    Document take() { return {{"ok", isWell_}, {"nodes", std::move(nodes_)}, {"edges", std::move(edges_)}}; }

private:
    static std::string idOf(std::size_t number) { return "n" + std::to_string(number); }

    void addNode(std::size_t number, const std::string& name, const Document& version,
                 const std::string& state, const Document& file) {
        nodes_.push_back(
            {{"id", idOf(number)}, {"name", name}, {"version", version}, {"state", state}, {"file", file}});
        isWell_ = isWell_ && state == "ok";
    }

    void addPlugin(std::size_t place) {
        const Entry& entry = catalogue_.entries()[place];
        const auto& descriptor = entry.inspection.descriptor;
        numbers_[place] = nodes_.size();
        addNode(numbers_[place], entry.name(),
                descriptor ? Document(descriptor->version.toString()) : Document(), stateOf(entry),
                entry.path);
    }

    void addEdges(std::size_t place) {
        for (const Entry::Edge& edge : catalogue_.entries()[place].dependencies) {
            const bool isThere = edge.target != Entry::kNone;
            const std::size_t target = isThere ? numbers_.at(edge.target) : missing(edge.name);
            edges_.push_back({{"from", idOf(numbers_.at(place))},
                              {"to", idOf(target)},
                              {"name", edge.name},
                              {"required", edge.version.toString()},
                              {"problem", edge.problem},
                              {"inCycle", edge.problem == words::circular(edge.name)}});
        }
    }

    // One node for each name that nothing was found for.
    std::size_t missing(const std::string& name) {
        const auto [known, isNew] = missing_.emplace(foldedCase(name), nodes_.size());
        if (isNew) addNode(known->second, name, Document(), "missing", Document());
        return known->second;
    }

    const Catalogue& catalogue_;
    Document nodes_ = Document::array();
    Document edges_ = Document::array();
    std::map<std::size_t, std::size_t> numbers_;  // of the nodes, by place
    std::map<std::string, std::size_t> missing_;  // by folded name
    bool isWell_ = true;
};

class GraphCommand : public Command {
public:
    const char* name() const override { return "graph"; }
    const char* summary() const override { return "A picture of the plugins and what they need"; }

    void addOptions(CLI::App& app) override {
        app.add_option("--format", format_, "dot, svg (drawn by Graphviz) or mermaid")
            ->check(CLI::IsMember({"dot", "svg", "mermaid"}));
        app.add_option("-o,--output", output_, "The file to write; standard output without it")
            ->type_name("FILE");
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
                 "Graphviz drew no picture. Its program dot has to be in the PATH: on Debian install the "
                 "package graphviz; or ask for --format dot or mermaid.");
        else if (!output_.empty() && !writeFile(output_, document["picture"]))
            fail(document, "The picture could not be written to " + output_);
        return document;
    }

    void print(const Document& document, Page& page) const override {
        if (!textOf(document, "message").empty())
            page.paragraph({textOf(document, "message"), Style::bad});
        else if (document["output"].is_null())
            page.verbatim(textOf(document, "picture"));
        else
            page.paragraph({"The picture is in " + textOf(document, "output")});
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
