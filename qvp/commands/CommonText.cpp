#include "commands/CommonText.h"

#include "commands/Documents.h"

#include <sstream>
#include <unordered_set>

namespace qvp {

std::vector<std::string> firstOf(const std::vector<std::string>& texts, std::size_t most) {
    std::vector<std::string> first;
    std::unordered_set<std::string> seen;
    for (const std::string& text : texts) {
        if (seen.insert(text).second && seen.size() <= most) first.push_back(text);
    }
    if (seen.size() > most) first.push_back("and " + std::to_string(seen.size() - most) + " more");
    return first;
}

std::string shownOutput(const std::string& printed) {
    constexpr std::size_t kEach = std::size_t{4} << 10U;
    if (printed.size() <= 2 * kEach) return printed;
    return printed.substr(0, kEach) + "\n[" + std::to_string(printed.size() - 2 * kEach) +
           " bytes omitted]\n" + printed.substr(printed.size() - kEach);
}

void printOutput(const Document& document, Page& page) {
    constexpr std::size_t kEach = 20;
    std::istringstream text(textOf(document, "printed"));
    std::vector<std::string> lines;
    for (std::string line; std::getline(text, line);) lines.push_back(line);
    if (lines.empty()) return;
    page.heading("Printed by the plugin");
    for (std::size_t i = 0; i < lines.size(); ++i) {
        const bool isOmitted = i >= kEach && i + kEach < lines.size();
        if (!isOmitted) page.paragraph({lines[i], Style::faint}, 2, 2);
        if (isOmitted && i == kEach)
            page.paragraph({"[" + std::to_string(lines.size() - 2 * kEach) + " lines omitted]"}, 2);
    }
}

}  // namespace qvp
