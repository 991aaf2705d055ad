#include "QvPluginSystem/PluginSearchPath.h"

#include <QvPlatform/filesystem/Directory.h>

#include "filesystem/PathText.h"
#include "os/FileSystem.h"
#include "os/Utf.h"

#include <algorithm>
#include <utility>

namespace QvPluginSystem {
namespace {

using QvPlatform::Directory;
using QvPlatform::File;

std::wstring pathOf(const std::string& directory) { return Directory(directory).widePath(); }

// Without making the path absolute first: a name is rarely a file of the current directory.
bool isRegularFileAsGiven(std::string name) {
    std::replace(name.begin(), name.end(), '\\', '/');
    return os::entryStatus(os::widen(name)).kind == os::EntryKind::RegularFile;
}

bool contains(const Qv::QvArray<std::string>& texts, const std::string& text) {
    return std::find(texts.begin(), texts.end(), text) != texts.end();
}

}  // namespace

PluginSearchPath::PluginSearchPath() { reset(); }

bool PluginSearchPath::add(const std::string& directory) {
    if (contains(added_, directory)) return false;
    added_.push_back(directory);
    if (contains(effective_, directory)) return false;
    addEffective(added_.back());
    return true;
}

void PluginSearchPath::addEffective(const std::string& directory) {
    ++revision_;
    effective_.push_back(directory);
    effectivePaths_.push_back(QvPlatform::PathText::isRelative(directory) ? std::wstring() : pathOf(directory));
}

bool PluginSearchPath::remove(const std::string& directory) {
    const auto found = std::find(added_.begin(), added_.end(), directory);
    if (found == added_.end()) return false;
    const auto effective = std::find(effective_.begin(), effective_.end(), directory);
    if (effective != effective_.end()) {
        ++revision_;
        effectivePaths_.erase(effectivePaths_.begin() + (effective - effective_.begin()));
        effective_.erase(effective);
    }
    added_.erase(found);
    return true;
}

void PluginSearchPath::reset() {
    added_.clear();
    effective_.clear();
    effectivePaths_.clear();
    addEffective(Directory(Directory::kLibraryDirectory).directory("plugins").toUniversalPath());
}

std::optional<PluginSearchPath::Found> PluginSearchPath::find(const std::string& name) const {
    if (name.empty()) return std::nullopt;
    std::optional<Found> asGiven = findExactly(name);
    if (asGiven || name.ends_with(kPluginExtension)) return asGiven;
    return findExactly(name + kPluginExtension);
}

std::optional<PluginSearchPath::Found> PluginSearchPath::findExactly(const std::string& name) const {
    if (isRegularFileAsGiven(name)) return Found{name, PluginFile(name)};
    const std::wstring wideName = os::widen(name);
    for (std::size_t i = 0; i < effective_.size(); ++i) {
        const std::wstring& known = effectivePaths_[i];
        const std::wstring path = (known.empty() ? pathOf(effective_[i]) : known) + wideName;
        const os::EntryStatus status = os::entryStatus(path);
        if (status.kind != os::EntryKind::RegularFile) continue;
        const File file = File::fromWide(path);
        return Found{file.toUniversalPath(), PluginFile(file, status)};
    }
    return std::nullopt;
}

}  // namespace QvPluginSystem
