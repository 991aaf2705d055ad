#include "os/Filesystem.h"

#include "os/win32/Windows.h"

#include <memory>

namespace os {
namespace {

constexpr DWORD kAnySharing = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

struct EndSearch {
    void operator()(HANDLE search) const {
        if (search != INVALID_HANDLE_VALUE) FindClose(search);
    }
};
using Search = std::unique_ptr<void, EndSearch>;

// Files that a cloud service has not downloaded yet are reparse points too, but not links.
bool isLinkEntry(const WIN32_FIND_DATAW& found) {
    return (found.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0 &&
           IsReparseTagNameSurrogate(found.dwReserved0);
}

DirectoryEntry describe(const WIN32_FIND_DATAW& found, std::string_view name) {
    return {name, (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0, isLinkEntry(found),
            (found.dwFileAttributes & (FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM)) != 0};
}

win32::Handle openToRead(const std::wstring& path) {
    return win32::Handle(CreateFileW(win32::systemPath(path).c_str(), GENERIC_READ, kAnySharing, nullptr,
                                     OPEN_EXISTING, 0, nullptr));
}

}  // namespace

EntryStatus entryStatus(const std::wstring& path) {
    const DWORD attributes = GetFileAttributesW(win32::systemPath(path).c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES) return {};
    const bool isDirectory = (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    return {isDirectory ? EntryKind::directory : EntryKind::regularFile, std::nullopt};
}

bool isReadableFile(const std::wstring& path) { return bool(openToRead(path)); }

bool isLink(const std::wstring& path) {
    const DWORD attributes = GetFileAttributesW(win32::systemPath(path).c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES || !(attributes & FILE_ATTRIBUTE_REPARSE_POINT)) return false;
    WIN32_FIND_DATAW found{};
    const Search search(FindFirstFileW(win32::withoutFinalSlash(path).c_str(), &found));
    return search.get() != INVALID_HANDLE_VALUE && isLinkEntry(found);
}

std::optional<std::wstring> canonicalPath(const std::wstring& path) {
    const win32::Handle file(CreateFileW(win32::systemPath(path).c_str(), 0, kAnySharing, nullptr,
                                         OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
    if (!file) return std::nullopt;
    std::wstring text = win32::universal(win32::filled([&](wchar_t* buffer, DWORD size) {
        return GetFinalPathNameByHandleW(file.get(), buffer, size, FILE_NAME_NORMALIZED);
    }));
    if (text.empty()) return std::nullopt;
    CharLowerBuffW(text.data(), static_cast<DWORD>(text.size()));
    return text;
}

std::optional<std::int64_t> modificationTime(const std::wstring& path) {
    WIN32_FILE_ATTRIBUTE_DATA data{};
    if (!GetFileAttributesExW(win32::systemPath(path).c_str(), GetFileExInfoStandard, &data))
        return std::nullopt;
    return win32::secondsSince1970(data.ftLastWriteTime);
}

std::optional<FileStamp> fileStamp(const std::wstring& path) {
    const win32::Handle file(CreateFileW(win32::systemPath(path).c_str(), FILE_READ_ATTRIBUTES, kAnySharing,
                                         nullptr, OPEN_EXISTING, 0, nullptr));
    BY_HANDLE_FILE_INFORMATION info{};
    if (!file || !GetFileInformationByHandle(file.get(), &info)) return std::nullopt;
    const FILETIME& time = info.ftLastWriteTime;
    return FileStamp{win32::joined(info.nFileSizeHigh, info.nFileSizeLow),
                     static_cast<std::int64_t>(win32::joined(time.dwHighDateTime, time.dwLowDateTime)),
                     {info.dwVolumeSerialNumber, win32::joined(info.nFileIndexHigh, info.nFileIndexLow)}};
}

std::optional<std::size_t> readPart(const std::wstring& path, std::uint64_t offset, std::string& piece) {
    const win32::Handle file = openToRead(path);
    LARGE_INTEGER position{};
    position.QuadPart = static_cast<LONGLONG>(offset);
    DWORD size = 0;
    if (!file || !SetFilePointerEx(file.get(), position, nullptr, FILE_BEGIN) ||
        !ReadFile(file.get(), piece.data(), static_cast<DWORD>(piece.size()), &size, nullptr))
        return std::nullopt;
    return size;
}

bool visitDirectory(const std::wstring& directory, const std::function<void(const DirectoryEntry&)>& visit,
                    std::string* error) {
    WIN32_FIND_DATAW found{};
    const Search search(FindFirstFileW(win32::systemPath(directory + L"*").c_str(), &found));
    DWORD code = search.get() == INVALID_HANDLE_VALUE ? GetLastError() : ERROR_SUCCESS;
    while (code == ERROR_SUCCESS) {
        const std::string name = base::narrow(found.cFileName);
        if (name != "." && name != "..") visit(describe(found, name));
        if (!FindNextFileW(search.get(), &found)) code = GetLastError();
    }
    if (code == ERROR_NO_MORE_FILES) return true;
    if (error) *error = win32::errorText(code);
    return false;
}

}  // namespace os
