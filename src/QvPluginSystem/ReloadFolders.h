#pragma once

#include "os/DirectoryWatch.h"
#include "os/Filesystem.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace QvPluginSystem {

/// Watches folders, also while they do not exist, and after they were removed, moved or replaced. A folder
/// that the system cannot watch is reported once a second. Paths are UTF-8, absolute and universal; those of
/// folders end with "/". One thread at a time.
class ReloadFolders {
public:
    /// A path as a key: equal for paths of the same file, apart from links.
    static std::string keyOf(const std::string& path);
    /// The folder of a file, also for keys.
    static std::string folderOf(const std::string& path) { return path.substr(0, path.rfind('/') + 1); }

    /// Replaces the list of the watched folders, which are mapped from keys.
    void set(const std::map<std::string, std::string>& folders);

    /// The folders that exist but cannot be watched, with the reasons; "" if there are none.
    std::string problem() const;

    /// What has changed since the last call. `onEntry` receives a folder's path and the name of an entry;
    /// `onFolder` receives a folder's path if any of its entries may have changed. Never waits. `now` is in
    /// milliseconds.
    void take(std::int64_t now, const std::function<void(const std::string&, const std::string&)>& onEntry,
              const std::function<void(const std::string&)>& onFolder);

private:
    struct Folder {
        std::size_t number;
        std::string key;
        std::string path;
        std::wstring widePath;
        os::EntryStatus status;  // when it was last watched
        bool isWatched = false;
        std::string problem = {};  // why it cannot be watched
    };

    void watch(Folder& folder);
    bool isLost(const Folder& folder) const;

    os::DirectoryWatch watch_;
    std::vector<Folder> folders_;
    std::size_t lastNumber_ = 0;
    std::int64_t nextCheck_ = 0;
};

}  // namespace QvPluginSystem
