#include "QvPluginSystem/PluginSearchPath.h"

#include <QvPlatform/filesystem/Directory.h>

#include "os/FileSystem.h"

#include <algorithm>

namespace QvPluginSystem {
namespace {

using QvPlatform::Directory;
using QvPlatform::File;

bool isRegularFile(const File& file) { return os::entryStatus(file.widePath()).kind == os::EntryKind::RegularFile; }

bool contains(const Qv::QvArray<std::string>& texts, const std::string& text) {
    return std::find(texts.begin(), texts.end(), text) != texts.end();
}

bool erase(Qv::QvArray<std::string>& texts, const std::string& text) {
    const auto found = std::find(texts.begin(), texts.end(), text);
    if (found == texts.end()) return false;
    texts.erase(found);
    return true;
}

}  // namespace

PluginSearchPath::PluginSearchPath() { reset(); }

bool PluginSearchPath::add(const std::string& directory) {
    if (contains(added_, directory)) return false;
    added_.push_back(directory);
    if (contains(effective_, directory)) return false;
    effective_.push_back(directory);
    return true;
}

bool PluginSearchPath::remove(const std::string& directory) {
    const std::string text = directory;  // it may lie in the lists
    if (!erase(added_, text)) return false;
    erase(effective_, text);
    return true;
}

void PluginSearchPath::reset() {
    added_.clear();
    effective_ = {Directory(Directory::kLibraryDirectory).directory("plugins").toUniversalPath()};
}

std::string PluginSearchPath::find(const std::string& name) const {
    if (name.empty()) return {};
    const std::string asGiven = findExactly(name);
    if (!asGiven.empty() || File(name).getExtension() == kPluginExtension) return asGiven;
    return findExactly(name + kPluginExtension);
}

std::string PluginSearchPath::findExactly(const std::string& name) const {
    if (isRegularFile(File(name))) return name;
    for (const std::string& directory : effective_) {
        const File file = Directory(directory).file(name);
        if (isRegularFile(file)) return file.toUniversalPath();
    }
    return {};
}

}  // namespace QvPluginSystem
