#pragma once

#include "os/win32/Windows.h"

#include <string>
#include <utility>
#include <vector>

namespace os::win32 {

struct LoadedModule {
    DWORD64 base = 0;
    DWORD size = 0;
    std::string file;  ///< in the system's narrow encoding, as is the name
    std::string name;

    bool operator==(const LoadedModule& other) const = default;
};

/// The process's loaded modules; empty if unavailable.
std::vector<LoadedModule> loadedModules(DWORD processId, HANDLE process);

/// A library that is opened at run time, closed by the destructor.
class RuntimeLibrary {
public:
    explicit RuntimeLibrary(const std::wstring& file) : module_(LoadLibraryW(file.c_str())) {}
    RuntimeLibrary(RuntimeLibrary&& other) noexcept : module_(std::exchange(other.module_, nullptr)) {}
    RuntimeLibrary(const RuntimeLibrary&) = delete;
    RuntimeLibrary& operator=(const RuntimeLibrary&) = delete;
    ~RuntimeLibrary() {
        if (module_) FreeLibrary(module_);
    }

    explicit operator bool() const { return module_ != nullptr; }

    /// Returns false and sets null if the library lacks the function.
    template <typename Function>
    bool resolve(Function*& function, const char* name) const {
        void* const address = module_ ? reinterpret_cast<void*>(GetProcAddress(module_, name)) : nullptr;
        function = reinterpret_cast<Function*>(address);
        return address != nullptr;
    }

private:
    HMODULE module_;
};

}  // namespace os::win32
