#include "commands/WhySteps.h"

#include "commands/CommonText.h"
#include "commands/Documents.h"
#include "report/Text.h"

#include <algorithm>
#include <map>

namespace qvp {
namespace {

void printSteps(const Document& steps, Page& page) {
    page.heading("Steps");
    Table table;
    for (const Document& step : steps) {
        std::string state = textOf(step, "state");
        if (state == "notReached") state = "not reached";
        if (state == "needsOtherSystem") state = "other system";
        std::string text = textOf(step, "text");
        if (step["errorNumber"] != 0) text += " (system error " + step["errorNumber"].dump() + ")";
        table.rows.push_back({{{state, styleOf(state)}, {stepTitle(textOf(step, "step"))}, {text}}, {}});
    }
    page.table(table);
}

void printMissingLibraries(const Document& libraries, Page& page) {
    for (const Document& library : libraries) {
        const bool isMissing = library["file"].is_null();
        page.heading(isMissing ? "Missing library" : "Unusable library");
        page.paragraph({textOf(library, "name"), Style::bad}, 2);
        std::vector<std::string> users = textsOf(library["chain"]);
        std::reverse(users.begin(), users.end());
        for (std::size_t i = 0; i < users.size(); ++i)
            page.paragraph({"needed by " + users[i]}, std::min<std::size_t>(4 + 2 * i, 40), 2);
        if (!isMissing)
            page.paragraph({"found as " + textOf(library, "file") + ": " + textOf(library, "problem")}, 4, 2);
        for (const Document& file : library["passedOver"])
            page.paragraph({textOf(file, "file") + ": " + textOf(file, "reason"), Style::bad}, 4, 2);
        if (isMissing) page.paragraph({"searched in"}, 4);
        for (const std::string& folder : textsOf(library["lookedIn"])) {
            if (isMissing) page.paragraph({folder, Style::faint}, 6, 2);
        }
    }
}

void printMissingSymbols(const Document& symbols, Page& page) {
    constexpr std::size_t kMost = 20;
    if (symbols.empty()) return;
    page.heading("Missing symbols");
    Table table;
    for (const Document& symbol : symbols) {
        if (table.rows.size() == kMost) break;
        const std::string name = textOf(symbol, "name");
        const std::string version = textOf(symbol, "version");
        const std::string library = textOf(symbol, "library");
        const std::string of = version.empty() ? "" : (name.empty() ? "version " : " of version ") + version;
        const std::string where = library.empty()                  ? "defined by no library that was searched"
                                  : symbol["isLinked"].get<bool>() ? "should be defined by " + library
                                                                   : "defined by " + library;
        table.rows.push_back(
            {{{name + of, Style::bad}, {where}}, {"needed by " + textOf(symbol, "neededBy"), Style::faint}});
    }
    page.table(table);
    if (symbols.size() > kMost)
        page.paragraph({"and " + std::to_string(symbols.size() - kMost) + " more"}, 2);
}

void printDependencies(const Document& dependencies, Page& page) {
    if (dependencies.empty()) return;
    page.heading("Dependencies");
    Table table;
    for (const Document& dependency : dependencies) {
        const std::string problem = textOf(dependency, "problem");
        const std::string version = textOf(dependency, "version");
        const std::string since = textOf(dependency, "compatibleSince");
        const std::string offered =
            version.empty() ? ""
                            : "found " + shortVersion(version) + ", compatible since " + shortVersion(since);
        table.rows.push_back(
            {{{problem.empty() ? "ok" : "failed", styleOf(problem.empty() ? "ok" : "failed")},
              {textOf(dependency, "name") + " " + shortVersion(textOf(dependency, "required")),
               Style::strong},
              {offered},
              {textOf(dependency, "file"), Style::faint}},
             {problem, Style::bad}});
    }
    page.table(table);
}

void printBecause(const Document& chain, Page& page) {
    if (chain.size() < 2) return;
    page.heading("Cause");
    std::size_t indent = 2;
    for (const Document& link : chain) {
        page.paragraph({textOf(link, "name") + ": " + textOf(link, "problem")}, indent, 2);
        page.paragraph({textOf(link, "file"), Style::faint}, indent + 2, 2);
        indent = std::min<std::size_t>(indent + 2, 40);
    }
}

void printDependents(const Document& dependents, Page& page) {
    page.heading("Dependents");
    if (dependents.empty()) page.paragraph({"none", Style::faint}, 2);
    for (const Document& dependent : dependents) {
        const auto level = dependent["level"].get<std::size_t>();
        page.paragraph({textOf(dependent, "name") + " requires " + textOf(dependent, "asksFor") + " " +
                        shortVersion(textOf(dependent, "required")) + "  " + textOf(dependent, "file")},
                       std::min<std::size_t>(2 * level, 40), 2);
    }
}

void printList(const std::string& title, const std::vector<std::string>& lines, Page& page) {
    if (lines.empty()) return;
    page.heading(title);
    for (const std::string& line : lines) page.paragraph({line}, 2, 2);
}

std::vector<std::string> namesAndFiles(const Document& plugins) {
    std::vector<std::string> lines;
    for (const Document& plugin : plugins)
        lines.push_back(textOf(plugin, "name") + "  " + textOf(plugin, "file"));
    return lines;
}

// With the line that a host's log has about it, unless the verdict says the same.
void printFile(const Document& plugin, const std::string& verdict, Page& page) {
    page.paragraph({textOf(plugin, "file"), Style::faint}, 2, 2);
    const std::string message = textOf(plugin, "problem");
    if (!message.empty() && verdict.find(message) == std::string::npos)
        page.paragraph({"reported by the manager: " + message, Style::faint}, 2, 2);
}

}  // namespace

void printWhy(const Document& document, Page& page) {
    page.paragraph({textOf(document, "verdict"), document["ok"].get<bool>() ? Style::good : Style::bad});
    if (document["plugin"].is_object()) printFile(document["plugin"], textOf(document, "verdict"), page);
    printSteps(document["steps"], page);
    printMissingLibraries(document["missingLibraries"], page);
    printMissingSymbols(document["missingSymbols"], page);
    if (document.contains("lookedIn")) printList("Searched directories", textsOf(document["lookedIn"]), page);
    printDependencies(document["dependencies"], page);
    printBecause(document["because"], page);
    printDependents(document["askedBy"], page);
    printList("Plugins that fail because of it", namesAndFiles(document["fails"]), page);
    const std::string stack = textOf(document, "callStack");
    if (!stack.empty()) {
        page.heading("Call stack");
        page.verbatim(stack);
    }
    printOutput(document, page);
    printList("What to do", textsOf(document["advice"]), page);
}

}  // namespace qvp
