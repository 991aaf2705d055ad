#include "os/FileOperations.h"

#include "os/win32/Windows.h"

namespace os {

bool setCurrentDirectory(const std::wstring& path) {
    return SetCurrentDirectoryW(win32::systemPath(path).c_str()) != 0;
}

bool createDirectory(const std::wstring& path) {
    return CreateDirectoryW(win32::systemPath(path).c_str(), nullptr) != 0;
}

// A user's temporary directory is private, so the location determines the audience.
bool createFile(const std::wstring& path, Audience /*audience*/) {
    return bool(win32::Handle(CreateFileW(win32::systemPath(path).c_str(), GENERIC_WRITE, 0, nullptr,
                                          CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr)));
}

bool removeFile(const std::wstring& path) { return DeleteFileW(win32::systemPath(path).c_str()) != 0; }

bool removeDirectory(const std::wstring& path) {
    return RemoveDirectoryW(win32::systemPath(path).c_str()) != 0;
}

bool copyFile(const std::wstring& from, const std::wstring& to, bool overwrite) {
    return CopyFileW(win32::systemPath(from).c_str(), win32::systemPath(to).c_str(), !overwrite) != 0;
}

bool copyToHiddenFile(const std::wstring& from, const std::wstring& to) {
    if (!copyFile(from, to, false)) return false;
    if (SetFileAttributesW(win32::systemPath(to).c_str(), FILE_ATTRIBUTE_HIDDEN)) return true;
    const DWORD error = GetLastError();
    removeFile(to);
    SetLastError(error);
    return false;
}

bool moveWithoutReplacing(const std::wstring& from, const std::wstring& to) {
    return MoveFileW(win32::systemPath(from).c_str(), win32::systemPath(to).c_str()) != 0;
}

}  // namespace os
