#include "commands/Warnings.h"

#include "QvPluginSystem/rules/PluginRules.h"
#include "commands/Documents.h"
#include "os/FileTrust.h"

#include <set>

namespace qvp {

Document warningsDocument(const std::vector<SearchDirectory>& directories,
                          const std::vector<std::string>& files) {
    Document warnings = Document::array();
    std::set<std::string> known;
    const auto add = [&](const std::string& path) {
        const auto weak = os::findWeakPoint(path);
        if (!weak || !known.insert(weak->path).second) return;
        warnings.push_back({{"kind", "unsafe"},
                            {"file", path},
                            {"weakPoint", weak->path},
                            {"text", QvPluginSystem::rules::unsafeFileMessage(path, *weak)}});
    };
    for (const SearchDirectory& directory : directories) {
        if (directory.exists) add(directory.path);
    }
    for (const std::string& file : files) add(file);
    return warnings;
}

void printWarnings(const Document& warnings, Page& page) {
    for (const std::string& text : textsOf(warnings, "text"))
        page.paragraph({"Warning: " + text, Style::doubtful}, 0, 2);
}

}  // namespace qvp
