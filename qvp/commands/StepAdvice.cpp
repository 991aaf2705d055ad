#include "commands/StepAdvice.h"

#include "commands/CommonText.h"
#include "report/Text.h"

#include <QvPlatform/filesystem/File.h>

#include <map>
#include <set>
#include <tuple>
#include <utility>

namespace qvp {
namespace {

using QvPlatform::File;

std::string fileNameOf(const std::string& path) { return File(path).getName(); }

// What is there but unusable is not to be installed.
std::vector<std::string> aboutLibraries(const Entry& entry) {
    constexpr std::size_t kMost = 5;
    std::vector<std::string> advice;
    std::vector<std::string> names;
    for (const NeededLibrary& library : entry.inspection.libraries) {
        for (const NeededLibrary::Unusable& file : library.passedOver)
            advice.push_back("Replace " + file.path + ": " + file.reason + ".");
        if (!library.path.empty())
            advice.push_back("Replace " + library.path + ": " + library.problemText + ".");
        if (library.isMissing() && library.passedOver.empty()) names.push_back(library.name);
    }
    if (!names.empty())
        advice.push_back("Install " + listed(firstOf(names, kMost)) + ", or put " +
                         (names.size() == 1 ? "it" : "them") + " next to " + fileNameOf(entry.path) + " in " +
                         File(entry.path).getFolderPath() + ".");
    return advice;
}

std::string codeOf(StepName step, const std::string& file) {
    switch (step) {
        case StepName::opened:
            return "the code that " + file +
                   " runs when it is opened, such as constructors of static objects";
        case StepName::buildInformation:
            return "GetPluginBuildInfo in " + file;
        case StepName::descriptor:
            return "GetPluginInfo in " + file;
        default:
            return "InitializePlugin in " + file + ", or in a plugin that it needs";
    }
}

std::string aboutMisdeed(const Step& failed, const std::string& file) {
    const std::string code = codeOf(failed.name, file);
    switch (failed.misdeed) {
        case Misdeed::crashed:
            return "Fix the crash in " + code + "; qvp probe " + file + " shows its call stack.";
        case Misdeed::hung:
            return "Find what never ends in " + code +
                   "; if it only takes long, allow more time with --timeout.";
        case Misdeed::exited:
            return "Remove what ends the process from " + code + ": it would end the host.";
        default:
            return "Catch the exception in " + code + ".";
    }
}

struct SymbolGroup {
    std::string library;
    bool isLinked = false;
    bool isVersion = false;

    bool operator<(const SymbolGroup& other) const {
        return std::tie(library, isLinked, isVersion) <
               std::tie(other.library, other.isLinked, other.isVersion);
    }
};

std::string aboutGroup(const std::string& file, const SymbolGroup& group,
                       const std::vector<std::string>& all) {
    constexpr std::size_t kMost = 5;
    const std::string names = listed(firstOf(all, kMost));
    if (group.library.empty())
        return "Define " + names + ", or link " + file + " with the library that defines " +
               (all.size() == 1 ? "it" : "them") + "; no library of the system does.";
    if (!group.isLinked) return "Link " + file + " with " + group.library + ", which defines " + names + ".";
    return "Install a build of " + group.library + " that has " + (group.isVersion ? "the version " : "") +
           names + ", or build " + file + " with the one that is installed.";
}

std::vector<std::string> aboutSymbols(const std::string& file, const std::vector<MissingSymbol>& symbols) {
    std::map<SymbolGroup, std::vector<std::string>> groups;
    std::set<std::string> versions;  // that are missing as a whole, with all their symbols
    for (const MissingSymbol& symbol : symbols) {
        if (symbol.name.empty()) versions.insert(symbol.version);
    }
    for (const MissingSymbol& symbol : symbols) {
        const bool isVersion = symbol.name.empty();
        if (!isVersion && versions.count(symbol.version) != 0) continue;
        const std::string version = symbol.version.empty() || isVersion ? "" : " (" + symbol.version + ")";
        groups[{symbol.library, symbol.isLinked, isVersion}].push_back(isVersion ? symbol.version
                                                                                 : symbol.name + version);
    }
    std::vector<std::string> advice;
    advice.reserve(groups.size());
    for (const auto& [group, names] : groups) advice.push_back(aboutGroup(file, group, names));
    return advice;
}

std::string aboutStep(const Entry& entry, StepName step) {
    const std::string file = fileNameOf(entry.path);
    switch (step) {
        case StepName::found:
            return "Put " + file +
                   " at this path, or add the directory that contains it with --dir or QVP_PATH.";
        case StepName::readable:
            return "Check that " + file +
                   " was copied completely and that the user who runs the host may read it.";
        case StepName::architecture:
            return "Build " + file + " for this platform (64-bit x86), or install such a build.";
        case StepName::opened:
            return "Remove what the loader names as the reason, and link " + file +
                   " with -Wl,-z,defs, so that the linker reports what is missing.";
        case StepName::entryPoints:
            return "Define the four functions of QvPlugin.h in " + file +
                   ", exactly as they are declared there.";
        case StepName::buildInformation:
            return "Build " + file +
                   " with the same compiler and build mode as the product, and return "
                   "QV_PLUGIN_BUILD_INFO from GetPluginBuildInfo.";
        case StepName::descriptor:
            return "Make GetPluginInfo in " + file +
                   " set info.name and the other fields of the descriptor, and do nothing else.";
        default:
            return "Ask the author of " + entry.name() +
                   ": its InitializePlugin failed with the message above.";
    }
}

}  // namespace

std::vector<std::string> adviceForStep(const Entry& entry, const Step& failed,
                                       const std::vector<MissingSymbol>& symbols) {
    const std::string file = fileNameOf(entry.path);
    if (failed.misdeed != Misdeed::none) return {aboutMisdeed(failed, file)};
    if (failed.text.starts_with("no process")) return {"Install qvp-host with qvp, as its package does."};
    if (failed.name == StepName::libraries) return aboutLibraries(entry);
    if (failed.name == StepName::opened && !symbols.empty()) return aboutSymbols(file, symbols);
    return {aboutStep(entry, failed.name)};
}

}  // namespace qvp
