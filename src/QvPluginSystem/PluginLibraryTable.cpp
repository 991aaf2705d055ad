// `openCount` is the number of openings that were not taken back; the system's library is opened once for all
// of them. The loader keeps one opening for each loaded plugin and the unloader takes it back; reading a
// descriptor holds one for its duration.
//
// A record without a handle exists only while its library is being opened. The static initializers run then,
// so the table may be called again. If opening fails, or an initializer ends the thread, the record is
// removed and the "Path" variable has its old value. `close` removes the record even if the system fails to
// close the library. Records live in a list because `byPath_` has keys that point into them: an entry is
// erased before its record.
//
// In live mode a copy of the file is opened in its place. The record and everybody who needs the copy later
// share it; the last one removes the file. Several tables may open one copy, each once: the first opens the
// system's library, and the last closes it.

#include "QvPluginSystem/PluginLibraryTable.h"

#include "QvPluginSystem/LiveLibraries.h"
#include "QvPluginSystem/rules/PluginRules.h"
#include "filesystem/WholeVariable.h"
#include "os/Cancellation.h"
#include "os/SharedLibrary.h"

#include <new>
#include <optional>
#include <utility>

namespace QvPluginSystem {
namespace {

constexpr const char* kSearchPathVariable = "Path";

// Prepends a directory to the process's search path, without a separator, and restores the old value at the
// end, also when the thread is unwound.
class ScopedSearchPath {
public:
    explicit ScopedSearchPath(const std::string& directory)
        : previous_(QvPlatform::detail::readWholeVariable(kSearchPathVariable)) {
        if (!directory.empty())
            QvPlatform::detail::restoreVariable(kSearchPathVariable,
                                                directory + previous_.value_or(std::string()));
    }
    ScopedSearchPath(const ScopedSearchPath&) = delete;
    ScopedSearchPath& operator=(const ScopedSearchPath&) = delete;
    ~ScopedSearchPath() {
        try {
            QvPlatform::detail::restoreVariable(kSearchPathVariable, previous_);
        } catch (const std::bad_alloc&) {  // the directory stays in the variable
        }
    }

private:
    std::optional<std::string> previous_;
};

// The system's last error afterwards is that of opening.
void* openBesideItsLibraries(const std::string& directory, const std::string& file, std::string& error) {
    std::optional<ScopedSearchPath> searchPath(std::in_place, directory);
    void* handle = os::openLibrary(file, error);
    const os::LastErrorKeeper lastError;
    searchPath.reset();
    return handle;
}

template <typename Function>
Function entryPoint(void* handle, const char* name) {
    return reinterpret_cast<Function>(os::findSymbol(handle, name));
}

QvPluginFuncInterface bindEntryPoints(void* handle) {
    using Entry = QvPluginFuncInterface;
    return Entry(nullptr, entryPoint<Entry::GetPluginInfoFunc>(handle, "GetPluginInfo"),
                 entryPoint<Entry::InitializeFunc>(handle, "InitializePlugin"),
                 entryPoint<Entry::UninitializeFunc>(handle, "UninitializePlugin"),
                 entryPoint<Entry::GetBuildInfoFunc>(handle, "GetPluginBuildInfo"));
}

}  // namespace

SaveStateFunction saveFunctionOf(const PluginLibraryRecord& library) {
    return entryPoint<SaveStateFunction>(library.moduleHandle, "SavePluginState");
}

RestoreStateFunction restoreFunctionOf(const PluginLibraryRecord& library) {
    return entryPoint<RestoreStateFunction>(library.moduleHandle, "RestorePluginState");
}

PluginLibraryRecord* PluginLibraryTable::find(const std::string& path) {
    const auto found = byPath_.find(path);
    return found == byPath_.end() ? nullptr : &*found->second;
}

PluginLibraryRecord& PluginLibraryTable::findOrAdd(const std::string& path) {
    if (PluginLibraryRecord* known = find(path)) return *known;
    records_.push_back({path, path.substr(0, path.rfind('/') + 1), nullptr, std::nullopt, 0, {}});
    try {
        byPath_[records_.back().libraryPath] = std::prev(records_.end());
    } catch (const std::bad_alloc&) {
        records_.pop_back();
        throw;
    }
    return records_.back();
}

void PluginLibraryTable::remove(const std::string& path) {
    const auto found = byPath_.find(path);
    const Records::iterator record = found->second;
    byPath_.erase(found);
    records_.erase(record);
}

// Removes a record that has no handle at the end of its scope.
class PluginLibraryTable::Opening {
public:
    Opening(PluginLibraryTable& table, PluginLibraryRecord& record) : table_(table), record_(record) {}
    Opening(const Opening&) = delete;
    Opening& operator=(const Opening&) = delete;
    ~Opening() {
        if (!record_.moduleHandle) table_.remove(record_.libraryPath);
    }

private:
    PluginLibraryTable& table_;
    PluginLibraryRecord& record_;
};

PluginLibraryRecord* PluginLibraryTable::open(const std::string& path, std::string& error) {
    PluginLibraryRecord& record = findOrAdd(path);
    ++record.openCount;
    if (record.moduleHandle) return &record;
    const Opening opening(*this, record);
    if (const auto weak = refusesUnsafeFiles_ ? os::findWeakPoint(path) : std::nullopt) {
        error = rules::unsafeFileMessage(path, *weak);
        return nullptr;
    }
    record.moduleHandle = live_ ? openCopy(record, error)
                                : openBesideItsLibraries(record.libraryDirectory, record.libraryPath, error);
    if (!record.moduleHandle) return nullptr;
    record.entryPoints = bindEntryPoints(record.moduleHandle);
    return &record;
}

void* PluginLibraryTable::openCopy(PluginLibraryRecord& record, std::string& error) const {
    record.copy = live_->copyToOpen(record.libraryPath, error);
    if (!record.copy) return nullptr;
    LibraryCopy& copy = *record.copy;
    copy.mayBeMapped = true;
    if (copy.openings == 0) copy.handle = openBesideItsLibraries(record.libraryDirectory, copy.path(), error);
    const os::LastErrorKeeper lastError;
    if (copy.handle)
        ++copy.openings;
    else
        error = copy.inWordsOfOriginal(error);
    return copy.handle;
}

bool PluginLibraryTable::closeLibrary(PluginLibraryRecord& record, std::string& error) const {
    if (record.copy && --record.copy->openings > 0) return true;
    if (!live_) return os::closeLibrary(record.moduleHandle, error);
    return live_->close({record.moduleHandle, record.libraryPath, record.copy.get()}, error);
}

bool PluginLibraryTable::close(const std::string& path, std::string& error) {
    PluginLibraryRecord* record = find(path);
    if (!record) {
        error = "The library was not loaded.";
        return false;
    }
    if (--record->openCount >= 1) return false;
    error.clear();
    const bool closed = closeLibrary(*record, error);
    remove(path);
    return closed;
}

OpenPluginLibrary::~OpenPluginLibrary() {
    if (!record_) return;
    // The library's static destructors run here; a cancellation inside a destructor would end the process.
    const os::CancellationShield shield;
    std::string ignored;
    table_.close(record_->libraryPath, ignored);
}

bool OpenPluginLibrary::open(const std::string& path, std::string& error) {
    record_ = table_.open(path, error);
    return record_ != nullptr;
}

}  // namespace QvPluginSystem
