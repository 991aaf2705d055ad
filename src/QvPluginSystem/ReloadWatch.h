#pragma once

#include "QvPluginSystem/ReloadFolders.h"
#include "os/Filesystem.h"

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

namespace QvPluginSystem {

/// Finds the plugin files with new content. Paths are UTF-8, absolute and universal; those of folders end
/// with "/". Times are in milliseconds. One thread at a time.
class ReloadWatch {
public:
    struct Loaded {
        std::string path;
        std::string copy;  ///< which is loaded in its place and has its size and time; "" if there is none
    };

    /// Replaces the list of the watched files. A file that was not watched counts as seen as it is, or as its
    /// copy is.
    void setFiles(const std::vector<Loaded>& files);

    /// Replaces the list of the folders in which all plugin files are watched, new ones too. The files in a
    /// folder that was not watched count as seen.
    void setFolders(const std::vector<std::string>& folders);

    /// The watched files that have come or changed since they were seen or returned, and are complete: they
    /// stay unchanged for some time, and have all parts that their headers list. Files that change at about
    /// the same time are returned together. A file that stays incomplete is returned after some seconds.
    /// Never waits.
    std::vector<std::string> take(std::int64_t now);

    /// The folders that exist but cannot be watched, with the reasons; "" if there are none. They are looked
    /// at once a second.
    std::string problem() const { return folders_.problem(); }

private:
    struct File {
        std::string path;
        std::wstring widePath;
        std::string copy;
        std::string target;  // key of the file that a link leads to; "" if it is no link
        std::optional<os::FileStamp> settled;
        std::optional<os::FileStamp> seen;
        std::int64_t seenSince = 0;
        bool isComplete = false;
        bool isListed = false;
        bool isNew = true;
    };

    File& findOrAdd(const std::string& path, const std::string& copy = {});
    void erase(const std::string& key);
    void resolveLink(const std::string& key, File& file);
    void watchFolders();
    void settleNewFiles();
    void note(const std::string& folder, const std::string& name);
    void noteFolder(const std::string& folder);
    void noteFound(const std::string& folder);
    bool touch(const std::string& key);
    bool isUnchanged(const std::string& key, std::int64_t now);
    bool isReady(const std::string& key, std::int64_t now);
    std::vector<std::string> settle(const std::vector<std::string>& keys);

    ReloadFolders folders_;
    std::map<std::string, std::string> searched_;              // folders by key
    std::unordered_map<std::string, File> files_;              // by key
    std::unordered_multimap<std::string, std::string> links_;  // keys of targets to keys of links
    std::set<std::string> pending_;                            // keys of files
    std::optional<std::int64_t> readySince_;
};

}  // namespace QvPluginSystem
