#include "os/CopyFile.h"

#include "os/win32/Gate.h"

namespace os {

bool copyFile(const std::wstring& from, const std::wstring& to, bool overwrite) {
    return CopyFileW(from.c_str(), to.c_str(), !overwrite) != 0;
}

bool copyLink(const std::wstring& from, const std::wstring& to, bool overwrite) {
    const DWORD attributes = GetFileAttributesW(from.c_str());
    const bool isDirectory =
        attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    if (!isDirectory) {
        const DWORD flags = COPY_FILE_COPY_SYMLINK | (overwrite ? 0 : COPY_FILE_FAIL_IF_EXISTS);
        return CopyFileExW(from.c_str(), to.c_str(), nullptr, nullptr, nullptr, flags) != 0;
    }
    const std::wstring target = win32::withoutFinalSlash(to);
    if (overwrite) RemoveDirectoryW(target.c_str());
    return CreateDirectoryExW(win32::withoutFinalSlash(from).c_str(), target.c_str(), nullptr) != 0;
}

}  // namespace os
