#pragma once

#include "os/win32/Windows.h"

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace os::win32 {

/// While it lives, what the static initializers of libraries throw that the calling thread loads is caught
/// before the system's loader sees it, which would stop the unwinding halfway. The library fails to load.
class GuardedEntry {
public:
    GuardedEntry();
    GuardedEntry(const GuardedEntry&) = delete;
    GuardedEntry& operator=(const GuardedEntry&) = delete;
    ~GuardedEntry();

    /// The text of the exception; nothing when none was thrown.
    const std::optional<std::string>& thrown() const { return thrown_; }

private:
    static void CALLBACK onModule(ULONG reason, const void* notification, void* context);
    static BOOL WINAPI enter(HINSTANCE module, DWORD reason, LPVOID reserved);
    static void restoreEntryOf(HINSTANCE module);

    GuardedEntry* const outer_;
    void* registration_ = nullptr;
    std::vector<std::pair<HINSTANCE, void**>> entries_;  // where the loader keeps its modules' entry points
    std::optional<std::string> thrown_;
};

}  // namespace os::win32
