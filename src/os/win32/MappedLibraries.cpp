#include "os/MappedLibraries.h"

#include "os/win32/Windows.h"

namespace os {
namespace {

HMODULE moduleAt(const wchar_t* pathOrAddress, DWORD flags) {
    HMODULE module = nullptr;
    const BOOL isFound =
        GetModuleHandleExW(flags | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT, pathOrAddress, &module);
    return isFound ? module : nullptr;
}

}  // namespace

// The loader compares names with separators of the system only.
bool isLibraryMapped(const std::string& path) {
    std::wstring native = base::widen(path.c_str());
    std::replace(native.begin(), native.end(), L'/', L'\\');
    return moduleAt(native.c_str(), 0) != nullptr;
}

std::string whyLibraryStays(const std::string& /*path*/) {
    return "is still in use: it is pinned (GET_MODULE_HANDLE_EX_FLAG_PIN), has thread-local objects that "
           "threads have yet to destroy, or another library needs it";
}

const void* addressIn(void* handle) { return handle; }

void* libraryContaining(const void* address) {
    return moduleAt(static_cast<const wchar_t*>(address), GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS);
}

std::vector<void*> callingLibraries() {
    void* frames[1024];
    const USHORT count = RtlCaptureStackBackTrace(0, sizeof frames / sizeof *frames, frames, nullptr);
    std::vector<void*> libraries;
    for (void* const* frame = frames; frame != frames + count; ++frame) {
        void* const library = libraryContaining(*frame);
        if (library && std::find(libraries.begin(), libraries.end(), library) == libraries.end())
            libraries.push_back(library);
    }
    return libraries;
}

}  // namespace os
