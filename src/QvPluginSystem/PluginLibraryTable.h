#pragma once

#include <QvPlatform/QvPluginSystem/QvPluginFuncInterface.h>

#include <cstdint>
#include <list>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

namespace QvPluginSystem {

/// One plugin library that is open.
struct PluginLibraryRecord {
    std::string libraryPath;
    std::string libraryDirectory;
    void* moduleHandle = nullptr;
    std::optional<QvPluginFuncInterface> entryPoints;  ///< once the library is open
    std::int32_t openCount = 0;
};

/// The open plugin libraries by their absolute universal path, in order of first use. Records keep their
/// address until they are closed.
class PluginLibraryTable {
public:
    /// Null when the library is not open.
    PluginLibraryRecord* find(const std::string& path);

    /// Opens the library, or counts one more opening. The variable "Path" begins with the library's
    /// directory meanwhile. Null on failure, with the reason in `error`, which a further opening leaves
    /// alone.
    PluginLibraryRecord* open(const std::string& path, std::string& error);

    /// Takes one opening back. True when the library was closed. False while others hold it, `error`
    /// untouched; and on failure, with the reason in `error`.
    bool close(const std::string& path, std::string& error);

private:
    class Opening;
    using Records = std::list<PluginLibraryRecord>;

    PluginLibraryRecord& findOrAdd(const std::string& path);
    void remove(const std::string& path);

    Records records_;
    std::unordered_map<std::string_view, Records::iterator> byPath_;  // keys lie in the records
};

/// Holds one opening of a library and takes it back when destroyed, unless it is kept.
class OpenPluginLibrary {
public:
    explicit OpenPluginLibrary(PluginLibraryTable& table) : table_(table) {}
    /// Takes over an opening that was kept before.
    OpenPluginLibrary(PluginLibraryTable& table, const std::string& path)
        : table_(table), record_(table.find(path)) {}
    OpenPluginLibrary(const OpenPluginLibrary&) = delete;
    OpenPluginLibrary& operator=(const OpenPluginLibrary&) = delete;
    ~OpenPluginLibrary();

    bool open(const std::string& path, std::string& error);
    /// The entry points; only after `open` succeeded.
    const QvPluginFuncInterface& entryPoints() const { return *record_->entryPoints; }
    /// Leaves the library open for good.
    void keep() { record_ = nullptr; }

private:
    PluginLibraryTable& table_;
    PluginLibraryRecord* record_ = nullptr;
};

}  // namespace QvPluginSystem
