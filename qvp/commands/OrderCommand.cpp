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
    if (needed.empty()) return "nothing to wait for";
    return "after " + listed(needed) + ", which it needs";
}

std::string reasonToStop(const Catalogue& catalogue, const Entry& entry) {
    std::vector<std::string> dependents;
    for (const std::size_t dependent : entry.dependents) {
        if (catalogue.entries()[dependent].isInitialized)
            dependents.push_back(catalogue.entries()[dependent].name());
    }
    return dependents.empty() ? "nobody needs it" : "after " + listed(dependents) + ", which needed it";
}

template <typename Reason>
Document placesOf(const Catalogue& catalogue, const std::vector<std::size_t>& order, Reason reason) {
    Document places = Document::array();
    for (const std::size_t place : order) {
        const Entry& entry = catalogue.entries()[place];
        Document document{{"place", places.size() + 1}};
        document.update(shortDocument(entry));
        document["reason"] = reason(catalogue, entry);
        places.push_back(std::move(document));
    }
    return places;
}

Document leftOut(const Catalogue& catalogue) {
    Document list = Document::array();
    for (const std::size_t place : catalogue.readingOrder()) {
        const Entry& entry = catalogue.entries()[place];
        if (entry.isInitialized) continue;
        Document document = shortDocument(entry);
        document["problem"] = entry.problem;
        list.push_back(std::move(document));
    }
    return list;
}

void printPlaces(const std::string& title, const Document& places, Page& page) {
    page.heading(title);
    Table table;
    for (const Document& place : places) {
        table.rows.push_back({{{place["place"].dump(), Style::faint},
                               {textOf(place, "name"), Style::strong},
                               {textOf(place, "reason")},
                               {QvPlatform::File(textOf(place, "file")).getName(), Style::faint}},
                              {}});
    }
    page.table(table);
    if (places.empty()) page.paragraph({"no plugin", Style::faint}, 2);
}

class OrderCommand : public Command {
public:
    const char* name() const override { return "order"; }
    const char* summary() const override {
        return "The order of initialization, and that of unloading, with reasons";
    }

    Document run(const Setting& setting) override {
        const Catalogue catalogue(setting.directories, {}, setting.limits, setting.onProgress);
        Document left = leftOut(catalogue);
        return {{"ok", left.empty()},
                {"initialization", placesOf(catalogue, catalogue.initializationOrder(), reasonToStart)},
                {"unloading", placesOf(catalogue, catalogue.unloadOrder(), reasonToStop)},
                {"leftOut", std::move(left)}};
    }

    void print(const Document& document, Page& page) const override {
        printPlaces("Initialized in this order", document["initialization"], page);
        printPlaces("Unloaded in this order", document["unloading"], page);
        if (document["leftOut"].empty()) return;
        page.heading("Left out");
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
