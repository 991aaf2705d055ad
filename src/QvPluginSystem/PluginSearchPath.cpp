#include "QvPluginSystem/PluginSearchPath.h"

#include <QvPlatform/filesystem/Directory.h>

#include "QvPluginSystem/rules/PluginRules.h"
#include "base/Utf.h"
#include "filesystem/PathText.h"
#include "os/Filesystem.h"

#include <algorithm>
#include <utility>

namespace QvPluginSystem {
namespace {

using QvPlatform::Directory;
using QvPlatform::File;

std::wstring pathOf(const std::string& directory) { return Directory(directory).widePath(); }

bool contains(const Qv::QvArray<std::string>& texts, const std::string& text) {
    return std::find(texts.begin(), texts.end(), text) != texts.end();
}

}  // namespace

PluginSearchPath::PluginSearchPath() { reset(); }

bool PluginSearchPath::add(const std::string& directory) {
    if (contains(added_, directory)) return false;
    std::string text = directory;  // it may be in the array
    const bool isNew = !contains(effective_, text);
    added_.reserve(added_.size() + 1);
    if (isNew) addEffective(text);
    added_.push_back(std::move(text));
    return isNew;
}

PluginSearchPath::Place PluginSearchPath::placeOf(const std::string& directory) {
    return {QvPlatform::PathText::isRelative(directory) ? std::wstring() : pathOf(directory)};
}

// If memory runs out, nothing is changed.
void PluginSearchPath::addEffective(const std::string& directory) {
    Place place = placeOf(directory);
    places_.reserve(places_.size() + 1);
    effective_.push_back(directory);
    places_.push_back(std::move(place));
    forget();
}

bool PluginSearchPath::remove(const std::string& directory) {
    const auto found = std::find(added_.begin(), added_.end(), directory);
    if (found == added_.end()) return false;
    const auto effective = std::find(effective_.begin(), effective_.end(), directory);
    if (effective != effective_.end()) {
        forget();
        places_.erase(places_.begin() + (effective - effective_.begin()));
        effective_.erase(effective);
    }
    added_.erase(found);
    return true;
}

void PluginSearchPath::reset() {
    const std::string standard =
        Directory(Directory::kLibraryDirectory).directory("plugins").toUniversalPath();
    Qv::QvArray<std::string> effective{standard};
    std::vector<Place> places{placeOf(standard)};
    // From here nothing throws.
    added_.clear();
    effective_.swap(effective);
    places_.swap(places);
    forget();
}

void PluginSearchPath::forget() {
    foundByName_.clear();
    foundByPath_.clear();
    for (Place& place : places_) place.presence = Presence::unknown;
}

std::shared_ptr<const PluginSearchPath::Found> PluginSearchPath::lookUp(const FoundByText& found,
                                                                        const std::string& text) {
    const auto known = found.find(text);
    return known == found.end() ? nullptr : known->second;
}

std::shared_ptr<const PluginSearchPath::Found> PluginSearchPath::recallPath(const std::string& path) const {
    return lookUp(foundByPath_, path);
}

// Many plugins share a dependency, and looking for one asks the disk for each candidate.
std::shared_ptr<const PluginSearchPath::Found> PluginSearchPath::find(const std::string& name) {
    if (auto known = lookUp(foundByName_, name)) return known;
    auto found = search(name);
    const bool staysTrue = found && !QvPlatform::PathText::isRelative(found->path);
    if (staysTrue && requestDepth_ > 0) {
        foundByName_[name] = found;
        foundByPath_[found->path] = found;
    }
    return found;
}

std::shared_ptr<const PluginSearchPath::Found> PluginSearchPath::search(const std::string& name) {
    // Without making the path absolute first: a name is rarely a file of the current directory.
    const auto asGiven = [](const std::string& file) -> std::shared_ptr<const Found> {
        const os::EntryStatus status = os::entryStatus(base::widen(QvPlatform::PathRules::universal(file)));
        if (status.kind != os::EntryKind::regularFile) return nullptr;
        return std::make_shared<const Found>(Found{file, PluginFile(File(file), status)});
    };
    return rules::search(name, places_.size(), asGiven,
                         [&](std::size_t place, const std::string& file) { return searchIn(place, file); });
}

std::shared_ptr<const PluginSearchPath::Found> PluginSearchPath::searchIn(std::size_t place,
                                                                          const std::string& name) {
    Presence& presence = places_[place].presence;
    if (presence == Presence::missing) return nullptr;
    const std::wstring& fixed = places_[place].path;
    const std::wstring moving = fixed.empty() ? pathOf(effective_[place]) : std::wstring();
    const std::wstring& directory = fixed.empty() ? moving : fixed;
    const File file = File::fromWide(directory + base::widen(name));
    const os::EntryStatus status = os::entryStatus(file.widePath());
    if (status.kind == os::EntryKind::regularFile)
        return std::make_shared<Found>(Found{file.toUniversalPath(), PluginFile(file, status)});
    if (presence == Presence::unknown && requestDepth_ > 0) {
        const bool isThere = os::entryStatus(directory).kind != os::EntryKind::missing;
        presence = isThere ? Presence::there : Presence::missing;
    }
    return nullptr;
}

}  // namespace QvPluginSystem
