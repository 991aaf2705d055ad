#include "os/SystemPaths.h"

#include "os/win32/Windows.h"

namespace os {
namespace {

// The call counts the terminating zero, but `filled` expects a length without it.
std::wstring expanded(const wchar_t* text) {
    return win32::universal(win32::filled([&](wchar_t* buffer, DWORD size) -> DWORD {
        const DWORD needed = ExpandEnvironmentStringsW(text, buffer, size);
        return needed == 0 || needed > size ? needed : needed - 1;
    }));
}

// At most 259 characters: a longer name is truncated.
std::wstring moduleFile(HMODULE module) {
    wchar_t buffer[MAX_PATH] = L"";
    const DWORD length = GetModuleFileNameW(module, buffer, MAX_PATH);
    return win32::universal(std::wstring(buffer, length < MAX_PATH ? length : MAX_PATH - 1));
}

}  // namespace

PathStyle nativePathStyle() { return PathStyle::windows; }

std::wstring currentDirectory() {
    return win32::universal(
        win32::filled([](wchar_t* buffer, DWORD size) { return GetCurrentDirectoryW(size, buffer); }));
}

std::wstring systemDrive() { return expanded(L"%SystemDrive%"); }

std::wstring userProfile() { return expanded(L"%USERPROFILE%"); }

std::wstring temporaryDirectory() {
    return win32::universal(
        win32::filled([](wchar_t* buffer, DWORD size) { return GetTempPathW(size, buffer); }));
}

std::wstring executableFile() { return moduleFile(nullptr); }

std::wstring moduleContaining(const void* address) {
    HMODULE module = nullptr;
    const DWORD flags = GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT;
    if (!GetModuleHandleExW(flags, static_cast<const wchar_t*>(address), &module)) return {};
    return moduleFile(module);
}

}  // namespace os
