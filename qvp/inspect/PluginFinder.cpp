#include "inspect/PluginFinder.h"

#include <QvPlatform/QvPluginSystem/QvPluginManager.h>
#include <QvPlatform/filesystem/Directory.h>
#include <QvPlatform/filesystem/Environment.h>

#include "QvPluginSystem/rules/PluginRules.h"
#include "binary/FileContent.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace qvp {
namespace {

using QvPlatform::Directory;
using QvPlatform::File;

namespace rules = QvPluginSystem::rules;

void add(std::vector<SearchDirectory>& directories, const std::string& text, const char* origin) {
    const Directory directory(text);
    const std::string path = directory.toUniversalPath();
    const auto isSame = [&](const SearchDirectory& other) { return other.path == path; };
    if (text.empty() || std::any_of(directories.begin(), directories.end(), isSame)) return;
    directories.push_back(
        {path, origin, directory.exists(), pluginFilesIn(path).size(), directoryProblem(path)});
}

}  // namespace

std::vector<SearchDirectory> searchDirectories(const std::vector<std::string>& given) {
    std::vector<SearchDirectory> directories;
    for (const std::string& text : given) {
        add(directories, text, "--dir");
        // As from a variable of a script that is not set: nothing is searched for it, and that is a problem.
        if (text.empty()) directories.push_back({"", "--dir", false, 0, "has an empty name"});
    }

    const std::string& separator = QvPlatform::getPathSeparator();
    std::string rest = QvPlatform::getEnv("QVP_PATH") + separator;
    for (auto end = rest.find(separator); end != std::string::npos; end = rest.find(separator)) {
        add(directories, rest.substr(0, end), "QVP_PATH");
        rest.erase(0, end + separator.size());
    }

    for (const std::string& text : QvPluginSystem::QvPluginManager::instance()->getPluginSearchDirs())
        add(directories, text, "default");
    return directories;
}

std::vector<std::string> pluginFilesIn(const std::string& directory) {
    std::vector<std::string> paths;
    if (directory.empty()) return paths;  // to the rules it is the current directory
    for (const File& file : rules::pluginFilesIn(directory)) paths.push_back(file.toUniversalPath());
    return paths;
}

bool hasOtherCaseOfExtension(const std::string& path) {
    const std::string extension = File(path).getExtension();
    return extension != rules::kExtension && rules::isSameName(extension, rules::kExtension);
}

std::vector<std::string> mistakableIn(const std::string& directory) {
    std::vector<std::string> paths;
    if (directory.empty()) return paths;
    for (const File& file : Directory(directory).files()) {
        std::string path = file.toUniversalPath();
        if (hasOtherCaseOfExtension(path)) paths.push_back(std::move(path));
    }
    for (const Directory& inner : Directory(directory).directories()) {
        if (!inner.getName().ends_with(rules::kExtension)) continue;
        paths.push_back(inner.toUniversalPath());
        paths.back().pop_back();
    }
    return paths;
}

PluginFinder::PluginFinder(const std::vector<SearchDirectory>& directories) {
    for (const SearchDirectory& directory : directories) {
        if (directory.exists) directories_.push_back(directory.path);
    }
}

const PluginFinder::Found& PluginFinder::find(const std::string& name) const {
    const auto known = found_.find(name);
    return known != found_.end() ? known->second : found_.emplace(name, search(name)).first->second;
}

PluginFinder::Found PluginFinder::search(const std::string& name) const {
    const auto at = [](const File& file) -> std::optional<Found> {
        std::string path = file.toUniversalPath();
        std::string identity = regularFileIdentity(path);
        if (identity.empty()) return std::nullopt;
        return Found{std::move(path), std::move(identity)};
    };
    const auto found = rules::search(
        name, directories_.size(), [&](const std::string& file) { return at(File(file)); },
        [&](std::size_t i, const std::string& file) { return at(Directory(directories_[i]).file(file)); });
    return found.value_or(Found{});
}

}  // namespace qvp
