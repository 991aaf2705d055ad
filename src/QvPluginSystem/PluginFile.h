#pragma once

#include <QvPlatform/filesystem/File.h>

#include "base/AsciiCase.h"
#include "base/Fnv.h"
#include "os/Filesystem.h"
#include "os/SystemPaths.h"

#include <functional>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>

namespace QvPluginSystem {

/// The path of a plugin file as a key. It refers to the text, which must outlive it.
class PluginPathKey {
public:
    explicit PluginPathKey(std::string_view path) : text_(path), hash_(hashOf(path)) {}

    std::size_t hash() const { return hash_; }
    bool operator==(const PluginPathKey& other) const {
        if (hash_ != other.hash_) return false;
        return ignoresCase() ? base::equalFolded(text_, other.text_) : text_ == other.text_;
    }

private:
    static bool ignoresCase() { return os::nativePathStyle() != os::PathStyle::posix; }
    static std::size_t hashOf(std::string_view path) {
        return ignoresCase() ? base::fnv1a(path, base::foldCase<char>) : std::hash<std::string_view>()(path);
    }

    std::string_view text_;
    std::size_t hash_;  // computed once for several look-ups
};

/// A plugin file's identity. Two are the same if their paths are equal, ignoring case where the platform
/// does, or if the file system identifies them as the same file.
struct PluginFile {
    /// Accesses the disk once.
    explicit PluginFile(const std::string& text) : PluginFile(QvPlatform::File(text)) {}
    explicit PluginFile(const QvPlatform::File& file) : PluginFile(file, os::entryStatus(file.widePath())) {}
    PluginFile(const QvPlatform::File& file, const os::EntryStatus& seen)
        : path(file.toUniversalPath()), status(seen) {}

    bool isRegular() const { return status.kind == os::EntryKind::regularFile; }

    std::string path;  ///< absolute and universal, whatever the current directory is by now
    os::EntryStatus status;
};

/// Maps plugin files to values, in constant time. The added files must outlive their entries.
template <typename Value>
class PluginFileIndex {
public:
    /// Adds nothing if memory runs out.
    void add(const PluginFile& file, Value* value) {
        const auto [entry, isNew] = byPath_.insert_or_assign(PluginPathKey(file.path), value);
        try {
            if (file.status.identity) byIdentity_[*file.status.identity] = value;
        } catch (const std::bad_alloc&) {
            if (isNew) byPath_.erase(entry);
            throw;
        }
    }

    void remove(const PluginFile& file) {
        byPath_.erase(PluginPathKey(file.path));
        if (file.status.identity) byIdentity_.erase(*file.status.identity);
    }

    /// Null if there is none.
    Value* find(const PluginFile& file) const {
        if (Value* value = lookUp(byPath_, PluginPathKey(file.path))) return value;
        return file.status.identity ? lookUp(byIdentity_, *file.status.identity) : nullptr;
    }

    /// The same, but accesses the disk only if the path alone does not decide.
    Value* find(const std::string& path) const {
        const QvPlatform::File file(path);
        if (Value* value = lookUp(byPath_, PluginPathKey(file.toUniversalPath()))) return value;
        return byIdentity_.empty() ? nullptr : find(PluginFile(file));
    }

private:
    struct HashPath {
        std::size_t operator()(const PluginPathKey& key) const { return key.hash(); }
    };
    struct HashIdentity {
        std::size_t operator()(const os::FileIdentity& identity) const {
            return std::hash<std::uint64_t>()(identity.file * 31 + identity.device);
        }
    };

    template <typename Map>
    static Value* lookUp(const Map& map, const typename Map::key_type& key) {
        const auto found = map.find(key);
        return found == map.end() ? nullptr : found->second;
    }

    std::unordered_map<PluginPathKey, Value*, HashPath> byPath_;
    std::unordered_map<os::FileIdentity, Value*, HashIdentity> byIdentity_;
};

}  // namespace QvPluginSystem
