#include "commands/Documents.h"

#include <QvPlatform/core/QvVersion.h>
#include <QvPlatform/core/StringUtils.h>
#include <QvPlatform/filesystem/Environment.h>
#include <QvPlatform/filesystem/Filesystem.h>
#include "binary/FileContent.h"
#include "new/Templates.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <string_view>
#include <utility>

namespace qvp {
namespace {

using QvPlatform::Directory;

// Names that CMake uses for its own targets, and those of the project's programs.
constexpr std::array kReservedNames = {"all",      "clean",   "help",          "install", "liveHost",
                                       "loadTest", "package", "rebuild_cache", "test",    "edit_cache"};

bool isLetterOrDigit(char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0; }

/// What is wrong with a plugin's name; "" if it can name a file and a CMake target.
std::string problemOfName(const std::string& name) {
    if (name.empty() || !isLetterOrDigit(name.front()) || !std::all_of(name.begin(), name.end(), [](char c) {
            return isLetterOrDigit(c) || c == '_' || c == '-';
        }))
        return "\"" + name +
               "\": a plugin's name consists of letters, digits, \"_\" and \"-\", and starts with a letter "
               "or digit";
    if (std::find(kReservedNames.begin(), kReservedNames.end(), name) != kReservedNames.end())
        return "\"" + name + "\" is a reserved target name";
    return {};
}

/// Where this program is installed, if the CMake package is there too; "" otherwise.
std::string ownPrefix() {
    const Directory prefix = Directory(Directory::kExecutableDirectory).parent();
    const bool isInstalled = prefix.directory(templates::kPackageFolder).hasFile("QvPlatformConfig.cmake");
    return isInstalled ? prefix.toUniversalPath() : std::string();
}

/// How to call this program: by its name if a shell finds it, else by its path.
std::string ownCall() {
    const std::string folder = Directory(Directory::kExecutableDirectory).toUniversalPath();
    const std::string& separator = QvPlatform::getPathSeparator();
    std::string rest = QvPlatform::getEnv("PATH") + separator;
    for (auto end = rest.find(separator); end != std::string::npos; end = rest.find(separator)) {
        if (end != 0 && Directory(rest.substr(0, end)).toUniversalPath() == folder) return "qvp";
        rest.erase(0, end + separator.size());
    }
    return folder + "qvp";
}

/// As one word for a shell.
std::string asWord(const std::string& text) {
    const bool isPlain = std::all_of(text.begin(), text.end(), [](char c) {
        return isLetterOrDigit(c) || std::string_view("/._:+@,=-").find(c) != std::string_view::npos;
    });
    if (isPlain) return text;
    std::string result = "\"";
    for (const char c : text) result += std::string(c == '"' || c == '$' || c == '`' ? "\\" : "") + c;
    return result + "\"";
}

/// What CMake must be told to find the package; "" if it finds it anyway. Begins with a blank.
std::string prefixOption(std::string prefix) {
    if (prefix.empty() || prefix == "/usr/" || prefix == "/usr/local/") return {};
    if (prefix.size() > 1) prefix.pop_back();
    return " " + asWord("-DCMAKE_PREFIX_PATH=" + prefix);
}

struct NewFile {
    const char* folder;
    std::string name;
    const char* content;
};

class NewCommand : public Command {
public:
    const char* name() const override { return "new"; }
    const char* summary() const override { return "Creates a plugin project with a test"; }

    void addOptions(Syntax& syntax) override {
        syntax.add("NAME", name_, "The plugin's name", {.isRequired = true, .problem = problemOfName});
        syntax.add("--into", into_, "Where to create the project's folder; by default, in the current folder",
                   {.type = "DIR"});
    }

    Document run(const Setting&) override {
        const Directory project = Directory(into_).directory(name_);
        Document document{{"ok", false}, {"name", name_}, {"folder", project.toUniversalPath()}};
        document["problem"] = make(project, document["files"] = Document::array());
        const std::string prefix = ownPrefix();
        document["prefix"] = prefix.empty() ? Document() : Document(prefix);
        document["program"] = ownCall();
        document["ok"] = document["problem"].get<std::string>().empty();
        return document;
    }

    void print(const Document& document, Page& page) const override {
        const std::string problem = textOf(document, "problem");
        if (!problem.empty()) return page.paragraph({problem, Style::bad});
        std::string folder = textOf(document, "folder");
        while (folder.size() > 1 && folder.back() == '/') folder.pop_back();
        page.paragraph({"Created the plugin " + textOf(document, "name") + " in " + folder, Style::good});
        for (const std::string& file : textsOf(document["files"])) page.paragraph({file}, 2);
        page.heading("Build and test it");
        const std::string source = asWord(folder);
        const std::string build = asWord(folder + "/build");
        const std::string plugin = asWord(folder + "/build/" + textOf(document, "name") + ".qvp");
        page.verbatim("  cmake -S " + source + " -B " + build + " -DCMAKE_BUILD_TYPE=Release" +
                      prefixOption(textOf(document, "prefix")) + "\n  cmake --build " + build +
                      "\n  ctest --test-dir " + build + " --output-on-failure\n  " +
                      asWord(textOf(document, "program")) + " check " + plugin + "\n");
    }

private:
    /// Writes the files and adds their paths to `made`. Returns why it failed, or "".
    std::string make(const Directory& project, Document& made) const {
        namespace Filesystem = QvPlatform::Filesystem;
        if (project.exists()) return project.toUniversalPath() + " already exists";
        const NewFile files[] = {{"", "CMakeLists.txt", templates::kCMakeLists},
                                 {"", name_ + ".cpp", templates::kPlugin},
                                 {"test", "LoadTest.cpp", templates::kLoadTest},
                                 {"test", "LiveHost.cpp", templates::kLiveHost},
                                 {"", "README.md", templates::kReadMe}};
        for (const NewFile& file : files) {
            const Directory folder = *file.folder ? project.directory(file.folder) : project;
            if (!Filesystem::create(folder)) return folder.toUniversalPath() + " could not be created";
            const std::string path = folder.file(file.name).toUniversalPath();
            if (!writeFile(path, filled(file.content))) return path + " could not be written";
            made.push_back(path);
        }
        return {};
    }

    std::string filled(const std::string& text) const {
        const std::pair<const char*, std::string> values[] = {{"@NAME@", name_},
                                                              {"@VERSION@", Qv::QvGetVersion()},
                                                              {"@PREFIX_OPTION@", prefixOption(ownPrefix())},
                                                              {"@QVP@", asWord(ownCall())}};
        std::string result = text;
        for (const auto& [placeholder, value] : values)
            result = QvSim::StringUtils::replace(result, placeholder, value);
        return result;
    }

    std::string name_;
    std::string into_;
};

}  // namespace

std::unique_ptr<Command> makeNewCommand() { return std::make_unique<NewCommand>(); }

}  // namespace qvp
