#include "commands/BuildInformation.h"
#include "commands/Documents.h"
#include "inspect/Steps.h"
#include "report/Text.h"

#include <algorithm>
#include <ctime>

namespace qvp {
namespace {

using QvPluginSystem::QvPluginInfo;

Document descriptorOf(const Inspection& inspection) {
    if (!inspection.descriptor) return {};
    const QvPluginInfo& info = *inspection.descriptor;
    return {{"name", info.name},
            {"displayName", info.getDisplayName()},
            {"description", info.description},
            {"version", info.version.toString()},
            {"label", info.version.label},
            {"compatibleSince", info.compatibilityVersion.toString()},
            {"vendor", info.vendor},
            {"copyright", info.copyright},
            {"url", info.url},
            {"group", info.group}};
}

Document librariesOf(const Inspection& inspection) {
    Document libraries = Document::array();
    for (const NeededLibrary& library : inspection.libraries) libraries.push_back(libraryDocument(library));
    return libraries;
}

Document fileOf(const LibraryFile& file) {
    const bool isThere = file.problem != LibraryFile::Problem::missing;
    return {{"path", file.path},
            {"description", file.description},
            {"size", isThere ? Document(file.size) : Document()},
            {"modified", isThere ? Document(file.modified) : Document()},
            {"buildId", file.buildId}};
}

Document entryPointsOf(const Inspection& inspection) {
    const std::vector<std::string>& exported = inspection.file.exportedNames;
    Document optional = Document::object();
    for (const char* const name : kOptionalEntryPoints)
        optional[name] = std::find(exported.begin(), exported.end(), name) != exported.end();
    return {{"found", inspection.entryPointsFound},
            {"missing", inspection.entryPointsMissing},
            {"optional", std::move(optional)}};
}

Document dependentsOf(const Catalogue& catalogue, std::size_t index) {
    Document dependents = Document::array();
    for (const std::size_t dependent : catalogue.entries()[index].dependents) {
        Document document = shortDocument(catalogue.entries()[dependent]);
        for (const Entry::Edge& edge : catalogue.entries()[dependent].dependencies) {
            if (edge.target == index) document["required"] = edge.version.toString();
        }
        dependents.push_back(std::move(document));
    }
    return dependents;
}

std::string timeText(std::int64_t seconds) {
    const auto time = static_cast<std::time_t>(seconds);
    char text[40] = "";
    if (const std::tm* utc = std::gmtime(&time))
        std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S UTC", utc);
    return text;
}

void printFacts(const std::string& title, const std::vector<std::pair<std::string, std::string>>& facts,
                Page& page) {
    Table table;
    for (const auto& [key, value] : facts) {
        if (!value.empty()) table.rows.push_back({{{key, Style::faint}, {value}}, {}});
    }
    if (table.rows.empty()) return;
    page.heading(title);
    page.table(table);
}

void printDescriptor(const Document& document, Page& page) {
    const Document& info = document["descriptor"];
    const Document& file = document["file"];
    if (info.is_object())
        printFacts("Descriptor",
                   {{"name", textOf(info, "name")},
                    {"display name", textOf(info, "displayName")},
                    {"description", textOf(info, "description")},
                    {"version", textOf(info, "version") +
                                    (textOf(info, "label").empty() ? "" : " " + textOf(info, "label"))},
                    {"compatible since", textOf(info, "compatibleSince")},
                    {"vendor", textOf(info, "vendor")},
                    {"copyright", textOf(info, "copyright")},
                    {"url", textOf(info, "url")},
                    {"group", textOf(info, "group")}},
                   page);
    const bool isThere = file["size"].is_number();
    printFacts("File",
               {{"path", textOf(file, "path")},
                {"kind", textOf(file, "description")},
                {"size", isThere ? file["size"].dump() + " bytes" : ""},
                {"modified", isThere ? timeText(file["modified"].get<std::int64_t>()) : ""},
                {"build id", textOf(file, "buildId")}},
               page);
}

void printBuildInformation(const Document& rows, Page& page) {
    if (rows.empty()) return;
    page.heading("Build information");
    Table table;
    table.titles = {"key", "plugin", "product", ""};
    for (const Document& row : rows) {
        const bool isSame = row["same"].get<bool>();
        const auto side = [&](const char* key) { return row[key].is_null() ? "(none)" : textOf(row, key); };
        table.rows.push_back({{{textOf(row, "key")},
                               {side("plugin"), isSame ? Style::plain : Style::doubtful},
                               {side("product")},
                               {isSame ? "" : "differs", Style::doubtful}},
                              {}});
    }
    page.table(table);
}

void printEntryPoints(const Document& points, Page& page) {
    Table table;
    for (const std::string& name : textsOf(points["found"]))
        table.rows.push_back({{{"found", Style::good}, {name}}, {}});
    for (const std::string& name : textsOf(points["missing"]))
        table.rows.push_back({{{"missing", Style::bad}, {name}}, {}});
    if (table.rows.empty()) return;
    for (const auto& [name, isFound] : points["optional"].items())
        table.rows.push_back(
            {{isFound.get<bool>() ? Cell{"found", Style::good} : Cell{"absent", Style::faint},
              {name + " (optional: keeps the state in a reload)"}},
             {}});
    page.heading("Entry points");
    page.table(table);
}

void printLibraries(const Document& libraries, Page& page) {
    if (libraries.empty()) return;
    page.heading("Required libraries");
    Table table;
    for (const Document& library : libraries) {
        const bool isMissing = library["file"].is_null() && textOf(library, "foundBy").empty();
        const std::string note = isMissing ? "needed by " + textOf(library, "neededBy") + "; searched in " +
                                                 listed(textsOf(library["lookedIn"]))
                                           : std::string();
        table.rows.push_back(
            {{{textOf(library, "name"), isMissing ? Style::bad : Style::plain},
              {isMissing ? "missing" : textOf(library, "foundBy"), isMissing ? Style::bad : Style::faint},
              {textOf(library, "file")}},
             {note, Style::bad}});
    }
    page.table(table);
}

void printNeighbours(const std::string& title, const Document& plugins, Page& page) {
    page.heading(title);
    Table table;
    for (const Document& plugin : plugins) {
        table.rows.push_back({{{textOf(plugin, "name"), Style::strong},
                               {shortVersion(textOf(plugin, "required"))},
                               {textOf(plugin, "file"), Style::faint}},
                              {textOf(plugin, "problem"), Style::bad}});
    }
    page.table(table);
    if (plugins.empty()) page.paragraph({"none", Style::faint}, 2);
}

class InfoCommand : public Command {
public:
    const char* name() const override { return "info"; }
    const char* summary() const override { return "Shows everything known about one plugin"; }

    void addOptions(Syntax& syntax) override {
        addPluginArgument(syntax, plugin_);
        syntax.addFlag("--dependents", wantsDependents_,
                       "Examine all plugins for the dependents, also if there are more than " +
                           std::to_string(kManyPlugins));
    }

    Document run(const Setting& setting) override {
        const std::vector<std::string> files = filesFor(plugin_, setting);
        const bool examinesAll = wantsDependents_ || pluginsIn(setting.directories) <= kManyPlugins;
        const Catalogue catalogue =
            examinesAll ? Catalogue(setting.directories, files, setting.limits, setting.onProgress)
                        : catalogueFor(files, setting);
        const std::size_t index = catalogue.find(plugin_);
        if (index == Entry::kNone)
            return {{"ok", false},
                    {"problem", "There is no plugin " + plugin_ + " in the search directories."},
                    {"directories", directoriesDocument(setting.directories)}};
        const Entry& entry = catalogue.entries()[index];
        const Inspection inspection = closeLookAt(entry.path, setting);
        return {{"ok", entry.shownProblem().empty()},
                {"name", entry.name()},
                {"state", stateOf(entry)},
                {"problem", entry.shownProblem()},
                {"finding", entry.finding()},
                {"descriptor", descriptorOf(inspection)},
                {"file", fileOf(inspection.file)},
                {"buildInformation",
                 inspection.buildInformation.empty()
                     ? Document::array()
                     : compareBuildInformation(inspection.buildInformation, productBuildInformation())},
                {"entryPoints", entryPointsOf(inspection)},
                {"libraries", librariesOf(inspection)},
                {"dependencies", dependenciesDocument(catalogue, entry)},
                {"dependents", examinesAll ? dependentsOf(catalogue, index) : Document()}};
    }

    void print(const Document& document, Page& page) const override {
        if (!document.contains("file")) {
            page.paragraph({textOf(document, "problem"), Style::bad});
            for (const Document& directory : document["directories"]) {
                const std::string unusable = textOf(directory, "problem");
                page.paragraph({textOf(directory, "path") + (unusable.empty() ? "" : "  " + unusable)}, 2, 2);
            }
            return;
        }
        const std::string state = textOf(document, "state");
        page.paragraph({textOf(document, "name") + ": " + state, styleOf(state)});
        const std::string problem = problemText(document);
        if (!problem.empty()) page.paragraph({problem, Style::bad}, 2, 2);
        printDescriptor(document, page);
        printBuildInformation(document["buildInformation"], page);
        printEntryPoints(document["entryPoints"], page);
        printLibraries(document["libraries"], page);
        printNeighbours("Dependencies", document["dependencies"], page);
        if (!document["dependents"].is_null())
            return printNeighbours("Dependents", document["dependents"], page);
        page.heading("Dependents");
        page.paragraph({"not examined, because there are many plugins; see --dependents", Style::faint}, 2);
    }

private:
    static constexpr std::size_t kManyPlugins = 100;

    static std::size_t pluginsIn(const std::vector<SearchDirectory>& directories) {
        std::size_t count = 0;
        for (const SearchDirectory& directory : directories) count += directory.pluginCount;
        return count;
    }

    std::string plugin_;
    bool wantsDependents_ = false;
};

}  // namespace

std::unique_ptr<Command> makeInfoCommand() { return std::make_unique<InfoCommand>(); }

}  // namespace qvp
