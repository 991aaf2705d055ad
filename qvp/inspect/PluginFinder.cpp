#include "inspect/PluginFinder.h"

#include <QvPlatform/QvPluginSystem/QvPluginManager.h>
#include <QvPlatform/filesystem/Directory.h>
#include <QvPlatform/filesystem/Environment.h>

#include "inspect/FileIdentity.h"

#include <algorithm>

namespace qvp {
namespace {

using QvPlatform::Directory;
using QvPlatform::File;

constexpr const char* kExtension = ".qvp";

void add(std::vector<SearchDirectory>& directories, const std::string& text, const char* origin) {
    const Directory directory(text);
    const std::string path = directory.toUniversalPath();
    const auto isSame = [&](const SearchDirectory& other) { return other.path == path; };
    if (text.empty() || std::any_of(directories.begin(), directories.end(), isSame)) return;
    directories.push_back({path, origin, directory.exists(), pluginFilesIn(path).size()});
}

}  // namespace

std::vector<SearchDirectory> searchDirectories(const std::vector<std::string>& given) {
    std::vector<SearchDirectory> directories;
    for (const std::string& text : given) add(directories, text, "--dir");

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
    for (const File& file : Directory(directory).files()) {
        if (file.getExtension() == kExtension) paths.push_back(file.toUniversalPath());
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
    if (name.empty()) return {};
    Found asGiven = searchExactly(name);
    if (!asGiven.identity.empty() || name.ends_with(kExtension)) return asGiven;
    return searchExactly(name + kExtension);
}

PluginFinder::Found PluginFinder::searchExactly(const std::string& name) const {
    Found found{File(name).toUniversalPath(), {}};
    found.identity = regularFileIdentity(found.path);
    for (auto directory = directories_.begin(); found.identity.empty() && directory != directories_.end();
         ++directory) {
        found.path = Directory(*directory).file(name).toUniversalPath();
        found.identity = regularFileIdentity(found.path);
    }
    return found;
}

}  // namespace qvp
