#include "os/FileOperations.h"

#include "os/win32/Gate.h"

namespace os {

bool setCurrentDirectory(const std::wstring& path) { return SetCurrentDirectoryW(path.c_str()) != 0; }

bool createDirectory(const std::wstring& path) { return CreateDirectoryW(path.c_str(), nullptr) != 0; }

// A user's temporary directory is the user's own, so the audience is given by the place.
bool createFile(const std::wstring& path, Audience /*audience*/) {
    return bool(win32::Handle(
        CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr)));
}

bool removeFile(const std::wstring& path) { return DeleteFileW(path.c_str()) != 0; }

bool removeDirectory(const std::wstring& path) { return RemoveDirectoryW(path.c_str()) != 0; }

bool moveWithoutReplacing(const std::wstring& from, const std::wstring& to) {
    return MoveFileW(from.c_str(), to.c_str()) != 0;
}

}  // namespace os
