#include "os/FileSystem.h"

#include "os/win32/Gate.h"

namespace os {

EntryStatus entryStatus(const std::wstring& path) {
    const DWORD attributes = GetFileAttributesW(path.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES) return {};
    const bool isDirectory = (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    return {isDirectory ? EntryKind::Directory : EntryKind::RegularFile, std::nullopt};
}

bool isReadableFile(const std::wstring& path) {
    const DWORD anySharing = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    const HANDLE file =
        CreateFileW(path.c_str(), GENERIC_READ, anySharing, nullptr, OPEN_EXISTING, 0, nullptr);
    if (file == INVALID_HANDLE_VALUE) return false;
    CloseHandle(file);
    return true;
}

std::vector<DirectoryEntry> listDirectory(const std::wstring& directory) {
    std::vector<DirectoryEntry> entries;
    WIN32_FIND_DATAW found{};
    const HANDLE search = FindFirstFileW((directory + L"*").c_str(), &found);
    if (search == INVALID_HANDLE_VALUE) return entries;
    do {
        const std::wstring name = found.cFileName;
        if (name == L"." || name == L"..") continue;
        entries.push_back({name, (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0,
                           (found.dwFileAttributes & (FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM)) != 0});
    } while (FindNextFileW(search, &found));
    FindClose(search);
    return entries;
}

}  // namespace os
