#include "os/SharedLibrary.h"

#include "os/win32/Gate.h"

namespace os {
namespace {

// Keeps the system from asking the user about a missing disk or library while it loads one.
class SilentErrors {
public:
    SilentErrors() : previous_(SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX)) {}
    SilentErrors(const SilentErrors&) = delete;
    SilentErrors& operator=(const SilentErrors&) = delete;
    ~SilentErrors() { SetErrorMode(previous_); }

private:
    UINT previous_;
};

// The absolute native path, which the search beside the library needs. A name without a dot gets one at
// its end, else the loader would append ".dll".
std::wstring loaderPath(const std::string& path) {
    const std::wstring wide = widen(path.c_str());
    std::wstring full = win32::filled(
        [&](wchar_t* buffer, DWORD size) { return GetFullPathNameW(wide.c_str(), size, buffer, nullptr); });
    if (full.find(L'.', full.find_last_of(L'\\') + 1) == std::wstring::npos) full += L'.';
    return full;
}

}  // namespace

void* openLibrary(const std::string& path, std::string& error) {
    const SilentErrors silent;
    HMODULE module = LoadLibraryExW(loaderPath(path).c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
    if (!module) error = lastErrorText();
    return module;
}

bool closeLibrary(void* handle, std::string& error) {
    if (FreeLibrary(static_cast<HMODULE>(handle))) return true;
    error = lastErrorText();
    return false;
}

void* findSymbol(void* handle, const char* name) {
    return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(handle), name));
}

std::string lastErrorText() { return win32::errorText(GetLastError()); }

}  // namespace os
