#pragma once

#include <QvPlatform/filesystem/File.h>

#include "base/AsciiCase.h"
#include "base/Utf.h"
#include "os/Filesystem.h"
#include "os/SystemPaths.h"

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>

namespace QvPluginSystem {

/// A plugin file's identity. Two are the same if their paths are equal, ignoring case where the platform
/// does, or if the file system identifies them as the same file.
struct PluginFile {
    /// Accesses the disk once.
    explicit PluginFile(const std::string& text) : PluginFile(QvPlatform::File(text)) {}
    explicit PluginFile(const QvPlatform::File& file) : PluginFile(file, os::entryStatus(file.widePath())) {}
    PluginFile(const QvPlatform::File& file, const os::EntryStatus& seen)
        : path(file.widePath()), key(keyOf(file)), hash(std::hash<std::wstring_view>()(key)), status(seen) {}

    static std::wstring keyOf(const QvPlatform::File& file) {
        if (os::nativePathStyle() == os::PathStyle::posix) return file.widePath();
        return base::foldedCase(file.widePath());
    }

    std::string libraryPath() const { return base::narrow(path); }
    bool isRegular() const { return status.kind == os::EntryKind::regularFile; }

    std::wstring path;  // absolute, whatever the current directory is by now
    std::wstring key;
    std::size_t hash;  // of the key, which is looked up many times
    os::EntryStatus status;
};

/// Maps plugin files to values, in constant time. The added files must outlive their entries.
template <typename Value>
class PluginFileIndex {
public:
    void add(const PluginFile& file, Value* value) {
        byKey_[{file.key, file.hash}] = value;
        if (file.status.identity) byIdentity_[*file.status.identity] = value;
    }

    void remove(const PluginFile& file) {
        byKey_.erase({file.key, file.hash});
        if (file.status.identity) byIdentity_.erase(*file.status.identity);
    }

    /// Null if there is none.
    Value* find(const PluginFile& file) const {
        if (Value* value = lookUp(byKey_, {file.key, file.hash})) return value;
        return file.status.identity ? lookUp(byIdentity_, *file.status.identity) : nullptr;
    }

    /// The same, but accesses the disk only if the path alone does not decide.
    Value* find(const std::string& path) const {
        const QvPlatform::File file(path);
        const std::wstring key = PluginFile::keyOf(file);
        if (Value* value = lookUp(byKey_, {key, std::hash<std::wstring_view>()(key)})) return value;
        return byIdentity_.empty() ? nullptr : find(PluginFile(file));
    }

private:
    struct Key {
        std::wstring_view text;
        std::size_t hash;
        bool operator==(const Key&) const = default;
    };
    struct HashKey {
        std::size_t operator()(const Key& key) const { return key.hash; }
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

    std::unordered_map<Key, Value*, HashKey> byKey_;
    std::unordered_map<os::FileIdentity, Value*, HashIdentity> byIdentity_;
};

}  // namespace QvPluginSystem
