#pragma once

#include "os/win32/Windows.h"

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace os::win32 {

/// During its lifetime, catches exceptions that static initializers throw in libraries that the calling
/// thread loads; such a library fails to load. Without it the exception would reach the system's loader,
/// which would stop the unwinding halfway.
class GuardedEntry {
public:
    GuardedEntry();
    GuardedEntry(const GuardedEntry&) = delete;
    GuardedEntry& operator=(const GuardedEntry&) = delete;
    ~GuardedEntry();

    /// The text of the exception; empty if none was thrown.
    const std::optional<std::string>& thrown() const { return thrown_; }

private:
    static void CALLBACK onModule(ULONG reason, const void* notification, void* context);
    static BOOL WINAPI enter(HINSTANCE module, DWORD reason, LPVOID reserved);
    static void restoreEntryOf(HINSTANCE module);
    static void note(const char* text) noexcept;

    GuardedEntry* const outer_;
    void* registration_ = nullptr;
    std::vector<std::pair<HINSTANCE, void**>> entries_;  // where the loader stores the modules' entry points
    std::optional<std::string> thrown_;
};

}  // namespace os::win32
