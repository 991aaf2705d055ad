#include "QvPluginSystem/ReloadFolders.h"

#include <QvPlatform/diagnostics/Log.h>

#include "base/AsciiCase.h"
#include "base/Utf.h"
#include "os/SystemPaths.h"

#include <algorithm>
#include <set>
#include <utility>

namespace QvPluginSystem {
namespace {

constexpr std::int64_t kCheckInterval = 1'000;  // milliseconds

}  // namespace

std::string ReloadFolders::keyOf(const std::string& path) {
    return os::nativePathStyle() == os::PathStyle::posix ? path : base::foldedCase(path);
}

void ReloadFolders::set(const std::map<std::string, std::string>& folders) {
    std::set<std::string> kept;
    std::erase_if(folders_, [&](const Folder& folder) {
        if (folders.contains(folder.key)) {
            kept.insert(folder.key);
            return false;
        }
        watch_.remove(folder.number);
        return true;
    });
    for (const auto& [key, path] : folders) {
        if (kept.contains(key)) continue;
        folders_.push_back({++lastNumber_, key, path, base::widen(path), {}});
        watch(folders_.back());
    }
}

void ReloadFolders::watch(Folder& folder) {
    folder.status = os::entryStatus(folder.widePath);
    if (folder.status.kind != os::EntryKind::directory) return folder.problem.clear();
    std::string error;
    folder.isWatched = watch_.add(folder.number, folder.widePath, error);
    const bool isNews = error != std::exchange(folder.problem, error);
    if (folder.isWatched || !isNews) return;
    Qv::LogWarn("The folder %s is looked at once a second, because it cannot be watched: %s\n",
                folder.path.c_str(), error.c_str());
}

std::string ReloadFolders::problem() const {
    std::string text;
    for (const Folder& folder : folders_) {
        if (folder.problem.empty()) continue;
        text += text.empty() ? "" : "; ";
        text += folder.path + " cannot be watched: " + folder.problem;
    }
    return text;
}

// A folder above may have been renamed, which the system does not report.
bool ReloadFolders::isLost(const Folder& folder) const {
    const os::EntryStatus status = os::entryStatus(folder.widePath);
    return status.kind != folder.status.kind || status.identity != folder.status.identity;
}

void ReloadFolders::take(std::int64_t now,
                         const std::function<void(const std::string&, const std::string&)>& onEntry,
                         const std::function<void(const std::string&)>& onFolder) {
    watch_.take([&](const os::DirectoryChange& change) {
        const auto folder = std::find_if(folders_.begin(), folders_.end(), [&](const Folder& candidate) {
            return candidate.number == change.directory;
        });
        if (folder == folders_.end()) return;
        if (change.kind == os::DirectoryChange::Kind::unwatched) folder->isWatched = false;
        if (change.kind == os::DirectoryChange::Kind::entry) return onEntry(folder->path, change.name);
        onFolder(folder->path);
    });
    if (now < nextCheck_) return;
    nextCheck_ = now + kCheckInterval;
    for (Folder& folder : folders_) {
        if (folder.isWatched && !isLost(folder)) continue;
        watch_.remove(folder.number);
        folder.isWatched = false;
        watch(folder);
        if (folder.status.kind == os::EntryKind::directory) onFolder(folder.path);
    }
}

}  // namespace QvPluginSystem
