// `settled` is the stamp of the content that the caller knows; `seen` is that of the last look. A file is
// pending from a notice about it until it is settled again, or gone. Only pending files are looked at.
//
// A folder is watched before its files are settled, so no change in between is lost. Links are followed: the
// folder of a link and that of its target are watched.

#include "QvPluginSystem/ReloadWatch.h"

#include "QvPluginSystem/rules/PluginRules.h"
#include "base/Utf.h"
#include "os/SharedLibrary.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace QvPluginSystem {
namespace {

// In milliseconds.
constexpr std::int64_t kQuietTime = 200;         // that a complete file stays unchanged
constexpr std::int64_t kIncompleteTime = 5'000;  // until an incomplete file counts as complete
constexpr std::int64_t kGatheringTime = 2'000;   // that complete files wait for others

std::string keyOf(const std::string& path) { return ReloadFolders::keyOf(path); }
std::string folderOf(const std::string& path) { return ReloadFolders::folderOf(path); }

}  // namespace

void ReloadWatch::setFiles(const std::vector<Loaded>& files) {
    for (auto& [key, file] : files_) file.isListed = false;
    for (const Loaded& loaded : files) findOrAdd(loaded.path, loaded.copy).isListed = true;
    std::vector<std::string> unused;
    for (const auto& [key, file] : files_) {
        if (!file.isListed && !searched_.contains(folderOf(key))) unused.push_back(key);
    }
    for (const std::string& key : unused) erase(key);
    watchFolders();
    settleNewFiles();
}

void ReloadWatch::setFolders(const std::vector<std::string>& folders) {
    const auto before = std::exchange(searched_, {});
    for (const std::string& folder : folders) searched_.emplace(keyOf(folder), folder);
    watchFolders();
    for (const auto& [key, folder] : searched_) {
        if (before.contains(key)) continue;
        for (const QvPlatform::File& file : rules::pluginFilesIn(folder)) findOrAdd(file.toUniversalPath());
    }
    settleNewFiles();
}

ReloadWatch::File& ReloadWatch::findOrAdd(const std::string& path, const std::string& copy) {
    std::string key = keyOf(path);
    const auto [place, isNew] = files_.try_emplace(std::move(key));
    File& file = place->second;
    if (!isNew) return file;
    file.path = path;
    file.copy = copy;
    file.widePath = base::widen(path);
    resolveLink(place->first, file);
    return file;
}

void ReloadWatch::erase(const std::string& key) {
    const auto place = files_.find(key);
    std::erase_if(links_, [&](const auto& link) { return link.second == key; });
    files_.erase(place);
}

void ReloadWatch::resolveLink(const std::string& key, File& file) {
    std::string target;
    if (os::isLink(file.widePath)) {
        if (const auto real = os::canonicalPath(file.widePath)) target = keyOf(base::narrow(*real));
    }
    if (target == file.target) return;
    std::erase_if(links_, [&](const auto& link) { return link.second == key; });
    if (!target.empty()) links_.emplace(target, key);
    file.target = std::move(target);
}

void ReloadWatch::watchFolders() {
    std::map<std::string, std::string> needed = searched_;
    for (const auto& [key, file] : files_) {
        needed.emplace(folderOf(key), folderOf(file.path));
        if (!file.target.empty()) needed.emplace(folderOf(file.target), folderOf(file.target));
    }
    folders_.set(needed);
}

void ReloadWatch::settleNewFiles() {
    for (auto& [key, file] : files_) {
        if (!std::exchange(file.isNew, false)) continue;
        file.settled = file.seen = os::fileStamp(file.widePath);
        if (file.copy.empty() || !file.settled) continue;
        const auto loaded = os::fileStamp(base::widen(file.copy));
        if (loaded && loaded->size == file.settled->size && loaded->modified == file.settled->modified)
            continue;
        file.settled.reset();
        touch(key);
    }
}

bool ReloadWatch::touch(const std::string& key) {
    const auto place = files_.find(key);
    if (place == files_.end()) return false;
    place->second.seen.reset();
    pending_.insert(key);
    return true;
}

void ReloadWatch::note(const std::string& folder, const std::string& name) {
    const std::string key = keyOf(folder + name);
    bool isKnown = touch(key);
    const auto [first, last] = links_.equal_range(key);
    for (auto link = first; link != last; ++link) isKnown = touch(link->second) || isKnown;
    if (!isKnown && name.ends_with(rules::kExtension)) noteFound(folder);
}

void ReloadWatch::noteFolder(const std::string& folder) {
    const std::string folderKey = keyOf(folder);
    for (const auto& [key, file] : files_) {
        if (folderOf(key) == folderKey || folderOf(file.target) == folderKey) pending_.insert(key);
    }
    noteFound(folder);
}

void ReloadWatch::noteFound(const std::string& folder) {
    if (!searched_.contains(keyOf(folder))) return;
    bool isAnyNew = false;
    for (const QvPlatform::File& found : rules::pluginFilesIn(folder)) {
        const std::string path = found.toUniversalPath();
        if (!std::exchange(findOrAdd(path).isNew, false)) continue;
        pending_.insert(keyOf(path));
        isAnyNew = true;
    }
    if (isAnyNew) watchFolders();
}

bool ReloadWatch::isUnchanged(const std::string& key, std::int64_t now) {
    const auto place = files_.find(key);
    if (place == files_.end()) return true;
    File& file = place->second;
    const auto stamp = os::fileStamp(file.widePath);
    if (!stamp && !file.isListed) erase(key);
    if (!stamp || stamp == file.settled) return true;
    if (stamp == file.seen) return false;
    file.seen = stamp;
    file.seenSince = now;
    file.isComplete = false;
    return false;
}

bool ReloadWatch::isReady(const std::string& key, std::int64_t now) {
    File& file = files_.at(key);
    const std::int64_t quiet = now - file.seenSince;
    if (quiet < kQuietTime) return false;
    // Asked once, because on Windows a writer that opens the file at the same moment would fail.
    if (!file.isComplete) file.isComplete = os::isCompleteLibrary(file.widePath);
    return file.isComplete || quiet >= kIncompleteTime;
}

std::vector<std::string> ReloadWatch::take(std::int64_t now) {
    folders_.take(
        now, [this](const std::string& folder, const std::string& name) { note(folder, name); },
        [this](const std::string& folder) { noteFolder(folder); });
    std::erase_if(pending_, [&](const std::string& key) { return isUnchanged(key, now); });
    std::vector<std::string> ready;
    std::copy_if(pending_.begin(), pending_.end(), std::back_inserter(ready),
                 [&](const std::string& key) { return isReady(key, now); });
    if (ready.empty()) {
        readySince_.reset();
        return {};
    }
    if (!readySince_) readySince_ = now;
    const bool areOthersChanging = ready.size() < pending_.size();
    if (areOthersChanging && now - *readySince_ < kGatheringTime) return {};
    return settle(ready);
}

std::vector<std::string> ReloadWatch::settle(const std::vector<std::string>& keys) {
    std::vector<std::string> paths;
    for (const std::string& key : keys) {
        File& file = files_.at(key);
        file.settled = file.seen;
        resolveLink(key, file);
        paths.push_back(file.path);
        pending_.erase(key);
    }
    readySince_.reset();
    watchFolders();
    return paths;
}

}  // namespace QvPluginSystem
