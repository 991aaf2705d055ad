#include "QvPluginSystem/PluginLibraryTable.h"

#include <QvPlatform/filesystem/File.h>

#include "filesystem/WholeVariable.h"
#include "os/Cancellation.h"
#include "os/SharedLibrary.h"

#include <optional>
#include <utility>

namespace QvPluginSystem {
namespace {

constexpr const char* kSearchPathVariable = "Path";

// Puts a directory in front of the process's search path, with nothing between the two, and puts the old
// text back, whatever happens meanwhile.
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
    ~ScopedSearchPath() { QvPlatform::detail::restoreVariable(kSearchPathVariable, previous_); }

private:
    std::optional<std::string> previous_;
};

// Leaves the system's last error as opening left it.
void* openBesideItsLibraries(const PluginLibraryRecord& record, std::string& error) {
    std::optional<ScopedSearchPath> searchPath(std::in_place, record.libraryDirectory);
    void* handle = os::openLibrary(record.libraryPath, error);
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

PluginLibraryRecord* PluginLibraryTable::find(const std::string& path) {
    const auto found = byPath_.find(path);
    return found == byPath_.end() ? nullptr : &*found->second;
}

PluginLibraryRecord& PluginLibraryTable::findOrAdd(const std::string& path) {
    if (PluginLibraryRecord* known = find(path)) return *known;
    records_.push_back({path, QvPlatform::File(path).getFolderPath(), nullptr, std::nullopt, 0});
    byPath_[records_.back().libraryPath] = std::prev(records_.end());
    return records_.back();
}

void PluginLibraryTable::remove(const std::string& path) {
    const auto found = byPath_.find(path);
    const Records::iterator record = found->second;
    byPath_.erase(found);
    records_.erase(record);
}

// Removes a record that has no handle in the end, also when a static initializer ends the thread.
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
    error.clear();
    const Opening opening(*this, record);
    record.moduleHandle = openBesideItsLibraries(record, error);
    if (!record.moduleHandle) return nullptr;
    record.entryPoints = bindEntryPoints(record.moduleHandle);
    return &record;
}

bool PluginLibraryTable::close(const std::string& path, std::string& error) {
    PluginLibraryRecord* record = find(path);
    if (!record) {
        error = "The library was not loaded.";
        return false;
    }
    if (--record->openCount >= 1) return false;
    error.clear();
    const bool closed = os::closeLibrary(record->moduleHandle, error);
    remove(path);
    return closed;
}

OpenPluginLibrary::~OpenPluginLibrary() {
    if (!record_) return;
    // The library's static destructors run in here, where no thread may end.
    const os::CancellationShield shield;
    std::string ignored;
    table_.close(record_->libraryPath, ignored);
}

bool OpenPluginLibrary::open(const std::string& path, std::string& error) {
    record_ = table_.open(path, error);
    return record_ != nullptr;
}

}  // namespace QvPluginSystem
