#include <QvPlatform/filesystem/File.h>

#include "commands/Documents.h"
#include "report/Text.h"

namespace qvp {
namespace {

std::string reasonToStart(const Catalogue& catalogue, const Entry& entry) {
    std::vector<std::string> needed;
    for (const Entry::Edge& edge : entry.dependencies)
        needed.push_back(catalogue.entries()[edge.target].name() + " " +
                         shortVersion(edge.version.toString()));
    if (needed.empty()) return "no dependencies";
    return "after " + listed(needed) + ", which it needs";
}

std::string reasonToStop(const Catalogue& catalogue, const Entry& entry) {
    std::vector<std::string> dependents;
    for (const std::size_t dependent : entry.dependents) {
        if (catalogue.entries()[dependent].isInitialized)
            dependents.push_back(catalogue.entries()[dependent].name());
    }
    return dependents.empty() ? "no dependents" : "after " + listed(dependents) + ", which needed it";
}

template <typename Reason>
Document positionsOf(const Catalogue& catalogue, const std::vector<std::size_t>& order, Reason reason) {
    Document positions = Document::array();
    for (const std::size_t index : order) {
        const Entry& entry = catalogue.entries()[index];
        Document document{{"place", positions.size() + 1}};
        document.update(shortDocument(entry));
        document["reason"] = reason(catalogue, entry);
        positions.push_back(std::move(document));
    }
    return positions;
}

Document leftOut(const Catalogue& catalogue) {
    Document list = Document::array();
    for (const std::size_t index : catalogue.readingOrder()) {
        const Entry& entry = catalogue.entries()[index];
        if (entry.isInitialized) continue;
        Document document = shortDocument(entry);
        document["problem"] = entry.shownProblem();
        list.push_back(std::move(document));
    }
    return list;
}

void printPositions(const std::string& title, const Document& positions, Page& page) {
    page.heading(title);
    Table table;
    for (const Document& plugin : positions) {
        table.rows.push_back({{{plugin["place"].dump(), Style::faint},
                               {textOf(plugin, "name"), Style::strong},
                               {textOf(plugin, "reason")},
                               {QvPlatform::File(textOf(plugin, "file")).getName(), Style::faint}},
                              {}});
    }
    page.table(table);
    if (positions.empty()) page.paragraph({"none", Style::faint}, 2);
}

class OrderCommand : public Command {
public:
    const char* name() const override { return "order"; }
    const char* summary() const override {
        return "Shows the order of initialization and of unloading, with reasons";
    }

    Document run(const Setting& setting) override {
        const Catalogue catalogue(setting.directories, {}, setting.limits, setting.onProgress);
        Document left = leftOut(catalogue);
        return {{"ok", left.empty()},
                {"initialization", positionsOf(catalogue, catalogue.initializationOrder(), reasonToStart)},
                {"unloading", positionsOf(catalogue, catalogue.unloadOrder(), reasonToStop)},
                {"leftOut", std::move(left)}};
    }

    void print(const Document& document, Page& page) const override {
        printPositions("Initialized in this order", document["initialization"], page);
        printPositions("Unloaded in this order", document["unloading"], page);
        if (document["leftOut"].empty()) return;
        page.heading("Not initialized");
        Table table;
        for (const Document& plugin : document["leftOut"]) {
            table.rows.push_back(
                {{{textOf(plugin, "name"), Style::strong}, {textOf(plugin, "file"), Style::faint}},
                 {textOf(plugin, "problem"), Style::bad}});
        }
        page.table(table);
    }
};

}  // namespace

std::unique_ptr<Command> makeOrderCommand() { return std::make_unique<OrderCommand>(); }

}  // namespace qvp
