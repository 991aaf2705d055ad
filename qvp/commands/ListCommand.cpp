#include "commands/Documents.h"
#include "report/Text.h"

namespace qvp {
namespace {

Document totalsOf(const Document& plugins) {
    Document totals{
        {"files", plugins.size()}, {"ok", 0}, {"refused", 0}, {"otherSystem", 0}, {"duplicate", 0}};
    for (const Document& plugin : plugins) {
        Document& count = totals[textOf(plugin, "state")];
        count = count.get<int>() + 1;
    }
    return totals;
}

std::vector<std::string> namesIn(const Document& plugins, const std::string& state) {
    std::vector<std::string> names;
    for (const Document& plugin : plugins) {
        if (textOf(plugin, "state") == state) names.push_back(textOf(plugin, "name"));
    }
    return names;
}

class ListCommand : public Command {
public:
    const char* name() const override { return "list"; }
    const char* summary() const override { return "Lists all plugin files found, including those that fail"; }

    Document run(const Setting& setting) override {
        const Catalogue catalogue(setting.directories, {}, setting.limits, setting.onProgress);
        Document plugins = Document::array();
        for (const std::size_t index : catalogue.readingOrder())
            plugins.push_back(pluginDocument(catalogue, index));
        Document totals = totalsOf(plugins);
        const bool isOk = totals["ok"] == totals["files"] && unusableDirectories(setting).empty();
        return {{"ok", isOk},
                {"directories", directoriesDocument(setting.directories)},
                {"plugins", std::move(plugins)},
                {"duplicates", duplicatesDocument(catalogue)},
                {"totals", std::move(totals)}};
    }

    void print(const Document& document, Page& page) const override {
        Document elsewhere = document["plugins"];
        for (const Document& directory : document["directories"]) {
            const std::string path = textOf(directory, "path");
            page.heading((path.empty() ? "\"\"" : path) + "  (" + textOf(directory, "origin") + ")");
            Document here = Document::array();
            Document others = Document::array();
            for (Document& plugin : elsewhere)
                (isIn(path, textOf(plugin, "file")) ? here : others).push_back(std::move(plugin));
            elsewhere = std::move(others);
            if (!here.empty())
                page.table(tableOf(here, path));
            else
                page.paragraph(aboutEmpty(directory), 2);
        }
        if (!elsewhere.empty()) {
            page.heading("Found elsewhere, because a plugin depends on that name");
            page.table(tableOf(elsewhere, ""));
        }
        printDuplicates(document["duplicates"], page);
        printTotals(document, page);
    }

private:
    static Cell aboutEmpty(const Document& directory) {
        const std::string problem = textOf(directory, "problem");
        if (problem.empty()) return {"no plugins", Style::faint};
        return {problem, textOf(directory, "origin") == "default" ? Style::faint : Style::bad};
    }

    static bool isIn(const std::string& directory, const std::string& file) {
        return file.starts_with(directory) && file.find('/', directory.size()) == std::string::npos;
    }

    static Table tableOf(const Document& plugins, const std::string& directory) {
        Table table;
        table.titles = {"state", "name", "display name", "version", "since", "vendor", "dependents", "file"};
        for (const Document& plugin : plugins) {
            const std::string name = textOf(plugin, "name");
            const std::string displayName = textOf(plugin, "displayName");
            std::string dependents;
            for (const std::string& dependent : textsOf(plugin["dependents"]))
                dependents += (dependents.empty() ? "" : ", ") + dependent;
            table.rows.push_back({{{textOf(plugin, "state"), styleOf(textOf(plugin, "state"))},
                                   {name, Style::strong},
                                   {displayName == name ? "" : displayName},
                                   {shortVersion(textOf(plugin, "version"))},
                                   {shortVersion(textOf(plugin, "compatibleSince"))},
                                   {textOf(plugin, "vendor")},
                                   {dependents},
                                   {textOf(plugin, "file").substr(directory.size())}},
                                  {problemText(plugin), Style::bad}});
        }
        return table;
    }

    static void printTotals(const Document& document, Page& page) {
        const Document& totals = document["totals"];
        page.heading("Files: " + totals["files"].dump());
        Table table;
        for (const char* state : {"ok", "refused", "otherSystem", "duplicate"}) {
            const std::vector<std::string> names = namesIn(document["plugins"], state);
            if (names.empty()) continue;
            const bool isNamed = std::string(state) != "ok";
            table.rows.push_back({{{totals[state].dump() + " " + state, styleOf(state)},
                                   {isNamed ? listed(names) : std::string()}},
                                  {}});
        }
        page.table(table);
    }
};

}  // namespace

std::unique_ptr<Command> makeListCommand() { return std::make_unique<ListCommand>(); }

}  // namespace qvp
