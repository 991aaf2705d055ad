// All directories from the root to the cursor are open and not shared for deletion, so no program can rename
// or replace them. So a path that is built from `path` names an entry of the cursor's directory. `path` has
// the system's extended form ("\\?\"), which has no length limit of its own and needs backslashes, unless the
// volume has no such form.
//
// There is one level for each directory, and each remembers how long `path` was above it. `enter` changes
// nothing on failure; `leave` cannot fail. A copy is made as a draft with a random name next to its target
// and then moved into place; on failure the draft is removed.

#include "os/TreeCursor.h"

#include "os/FileOperations.h"
#include "os/RandomText.h"
#include "os/win32/Windows.h"

#include <deque>
#include <utility>

namespace os {
namespace {

using win32::Handle;

constexpr DWORD kEntryItself = FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT;
constexpr DWORD kNoDeletion = FILE_SHARE_READ | FILE_SHARE_WRITE;

// The sharing rules do not apply to handles that only read attributes.
HANDLE openDirectory(const std::wstring& path, DWORD flags) {
    return CreateFileW(path.c_str(), FILE_LIST_DIRECTORY | FILE_READ_ATTRIBUTES, kNoDeletion, nullptr,
                       OPEN_EXISTING, flags, nullptr);
}

bool isDirectoryItself(HANDLE file) {
    FILE_ATTRIBUTE_TAG_INFO info{};
    if (!GetFileInformationByHandleEx(file, FileAttributeTagInfo, &info, sizeof info)) return false;
    const bool isLink = (info.FileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0 &&
                        IsReparseTagNameSurrogate(info.ReparseTag);
    return (info.FileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0 && !isLink;
}

// The extended form, with links resolved; the given path if the volume has no such form.
std::wstring pathOf(HANDLE directory, const std::wstring& given) {
    std::wstring path = win32::filled([&](wchar_t* buffer, DWORD size) {
        return GetFinalPathNameByHandleW(directory, buffer, size, FILE_NAME_OPENED);
    });
    if (path.empty()) path = given;
    return path.ends_with(L'\\') || path.ends_with(L'/') ? path : path + L'\\';
}

bool leadsNowhere(const std::wstring& link) {
    return !Handle(CreateFileW(link.c_str(), FILE_READ_ATTRIBUTES, kNoDeletion | FILE_SHARE_DELETE, nullptr,
                               OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
}

// Replaces the target; if it is a link, the link itself. The system does not replace directories, and a link
// to a directory counts as one.
bool moveInPlace(const std::wstring& draft, const std::wstring& target, bool overwrite) {
    if (MoveFileExW(draft.c_str(), target.c_str(), overwrite ? MOVEFILE_REPLACE_EXISTING : 0)) return true;
    return overwrite && isLink(target) && RemoveDirectoryW(target.c_str()) &&
           MoveFileExW(draft.c_str(), target.c_str(), 0);
}

bool mayReplace(const std::wstring& target, bool overwrite) {
    const DWORD attributes = GetFileAttributesW(target.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES) return true;
    return overwrite && ((attributes & FILE_ATTRIBUTE_READONLY) == 0 || isLink(target));
}

// Calls `make` for a draft next to the target, and moves the draft into place once it is complete.
template <typename Make>
bool replaceWith(Make make, const std::wstring& directory, const std::string& name, bool overwrite) {
    const std::wstring target = directory + base::widen(name);
    if (!mayReplace(target, overwrite)) return false;
    const std::wstring draft = directory + L".qv-" + base::widen(randomText(6));
    if (make(draft) && moveInPlace(draft, target, overwrite)) return true;
    SetFileAttributesW(draft.c_str(), FILE_ATTRIBUTE_NORMAL);  // a read-only copy could not be removed
    if (!DeleteFileW(draft.c_str())) RemoveDirectoryW(draft.c_str());
    return false;
}

}  // namespace

struct TreeCursor::State {
    struct Level {
        Handle directory;
        std::size_t pathLength;  // of the directory above
    };
    std::deque<Level> levels;
    std::wstring path;  // ends with a separator

    std::wstring at(const std::string& name) const { return path + base::widen(name); }
};

TreeCursor::TreeCursor(const std::wstring& root, TreeUse use) {
    const bool followsLink = use != TreeUse::remove;
    const std::wstring path = followsLink ? win32::systemPath(root) : win32::withoutFinalSlash(root);
    auto state = std::make_unique<State>();
    state->levels.push_back(
        {Handle(openDirectory(path, followsLink ? FILE_FLAG_BACKUP_SEMANTICS : kEntryItself)), 0});
    const Handle& directory = state->levels.back().directory;
    if (!directory || !isDirectoryItself(directory.get())) return;
    state->path = pathOf(directory.get(), root);
    state_ = std::move(state);
}

TreeCursor::~TreeCursor() = default;

FileIdentity TreeCursor::identity() const {
    BY_HANDLE_FILE_INFORMATION info{};
    GetFileInformationByHandle(state_->levels.back().directory.get(), &info);
    return {info.dwVolumeSerialNumber, win32::joined(info.nFileIndexHigh, info.nFileIndexLow)};
}

bool TreeCursor::visit(const std::function<void(const DirectoryEntry&)>& visit) const {
    return visitDirectory(state_->path, visit);
}

bool TreeCursor::enter(const std::string& name) {
    Handle directory(openDirectory(state_->at(name), kEntryItself));
    if (!directory || !isDirectoryItself(directory.get())) return false;
    state_->levels.push_back({std::move(directory), state_->path.size()});
    state_->path += base::widen(name) + L'\\';
    return true;
}

bool TreeCursor::leave() {
    state_->path.resize(state_->levels.back().pathLength);
    state_->levels.pop_back();
    return true;
}

bool TreeCursor::createDirectory(const std::string& name) {
    return os::createDirectory(state_->at(name)) || GetLastError() == ERROR_ALREADY_EXISTS;
}

bool TreeCursor::removeFile(const std::string& name) { return os::removeFile(state_->at(name)); }

bool TreeCursor::removeDirectory(const std::string& name) { return os::removeDirectory(state_->at(name)); }

bool TreeCursor::copyFile(const std::string& name, bool isLink, const TreeCursor& target,
                          bool overwrite) const {
    const std::wstring source = state_->at(name);
    if (isLink && leadsNowhere(source)) return copyLink(name, target, overwrite);
    const auto copy = [&](const std::wstring& draft) {
        return CopyFileW(source.c_str(), draft.c_str(), TRUE) != 0;
    };
    return replaceWith(copy, target.state_->path, name, overwrite);
}

bool TreeCursor::copyLink(const std::string& name, const TreeCursor& target, bool overwrite) const {
    const std::wstring source = state_->at(name);
    const DWORD attributes = GetFileAttributesW(source.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES) return false;
    const auto copy = [&](const std::wstring& draft) {
        if ((attributes & FILE_ATTRIBUTE_DIRECTORY) != 0)
            return CreateDirectoryExW(source.c_str(), draft.c_str(), nullptr) != 0;
        constexpr DWORD kFlags = COPY_FILE_COPY_SYMLINK | COPY_FILE_FAIL_IF_EXISTS;
        return CopyFileExW(source.c_str(), draft.c_str(), nullptr, nullptr, nullptr, kFlags) != 0;
    };
    return replaceWith(copy, target.state_->path, name, overwrite);
}

}  // namespace os
