#pragma once

#include <QvPlatform/QvPluginSystem/QvPluginFuncInterface.h>

#include <cstdint>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

namespace QvPluginSystem {

class LibraryCopy;
class LiveLibraries;

/// One plugin library that is open.
struct PluginLibraryRecord {
    std::string libraryPath;
    std::string libraryDirectory;
    void* moduleHandle = nullptr;
    std::optional<QvPluginFuncInterface> entryPoints;  ///< once the library is open
    std::int32_t openCount = 0;
    std::shared_ptr<LibraryCopy> copy{};  ///< which is open in the file's place, in live mode
};

/// The entry points of a plugin that keeps its state; null if it does not. They are looked up at each call,
/// because only a reload needs them, and the loader takes long to find that there are none.
using SaveStateFunction = bool (*)(std::string* state);
using RestoreStateFunction = bool (*)(const std::string& state);
SaveStateFunction saveFunctionOf(const PluginLibraryRecord& library);
RestoreStateFunction restoreFunctionOf(const PluginLibraryRecord& library);

/// The open plugin libraries by their absolute universal path, in order of first use. Records keep their
/// address until they are closed.
class PluginLibraryTable {
public:
    /// Begins live mode; null ends it. Not owned.
    void setLive(LiveLibraries* live) { live_ = live; }
    bool isLive() const { return live_ != nullptr; }
    /// Whether opening a file fails that other users can change.
    void setRefusesUnsafeFiles(bool refuses) { refusesUnsafeFiles_ = refuses; }
    bool refusesUnsafeFiles() const { return refusesUnsafeFiles_; }

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
    void* openCopy(PluginLibraryRecord& record, std::string& error) const;
    bool closeLibrary(PluginLibraryRecord& record, std::string& error) const;
    void remove(const std::string& path);

    LiveLibraries* live_ = nullptr;
    bool refusesUnsafeFiles_ = false;
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
    bool isCopy() const { return record_->copy != nullptr; }
    /// Leaves the library open for good.
    void keep() { record_ = nullptr; }

private:
    PluginLibraryTable& table_;
    PluginLibraryRecord* record_ = nullptr;
};

}  // namespace QvPluginSystem
