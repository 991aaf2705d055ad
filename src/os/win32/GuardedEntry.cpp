// `os::openLibrary` holds a guard around the system's call. The system notifies it of each library after
// mapping and before calling its entry point, which runs the static initializers. `onModule` then puts
// `enter` in place of the entry point in the loader's record, for that one call: `enter` restores the record
// before it calls the entry point.
//
// Guards nest on a thread when an initializer loads further libraries; only the innermost guard of the
// loading thread replaces an entry point, and it records what was thrown. If the record does not look as
// expected, or memory is exhausted, the entry point is called unguarded.

#include "os/win32/GuardedEntry.h"

#include <winternl.h>

#include <cstddef>
#include <exception>
#include <new>

namespace os::win32 {
namespace {

using Register = LONG(NTAPI*)(ULONG flags, void(CALLBACK* notice)(ULONG, const void*, void*), void* context,
                              void** registration);
using Unregister = LONG(NTAPI*)(void* registration);

template <typename Function>
Function systemFunction(const char* name) {
    return reinterpret_cast<Function>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), name)));
}

constexpr ULONG kLoaded = 1;

/// The data of a loader notification.
struct Notification {
    ULONG flags;
    const UNICODE_STRING* fullName;  // points into the loader's record
    const UNICODE_STRING* baseName;
    void* base;
    ULONG size;
};

// The entry point in the library's header; null if absent.
void* entryOf(void* base) {
    auto* const bytes = static_cast<char*>(base);
    const auto* const dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(bytes);
    const auto* const headers = reinterpret_cast<const IMAGE_NT_HEADERS*>(bytes + dos->e_lfanew);
    const DWORD place = headers->OptionalHeader.AddressOfEntryPoint;
    return place == 0 ? nullptr : bytes + place;
}

// The address of the entry point in the loader's record; null if the record does not look as expected.
void** entrySlot(const Notification& library) {
    const auto name = reinterpret_cast<std::size_t>(library.fullName);
    auto* const record =
        reinterpret_cast<LDR_DATA_TABLE_ENTRY*>(name - offsetof(LDR_DATA_TABLE_ENTRY, FullDllName));
    void** const slot = &record->Reserved3[0];
    return record->DllBase == library.base && *slot && *slot == entryOf(library.base) ? slot : nullptr;
}

thread_local GuardedEntry* current = nullptr;

}  // namespace

GuardedEntry::GuardedEntry() : outer_(current) {
    current = this;
    static const auto add = systemFunction<Register>("LdrRegisterDllNotification");
    if (add) add(0, onModule, this, &registration_);
}

GuardedEntry::~GuardedEntry() {
    static const auto remove = systemFunction<Unregister>("LdrUnregisterDllNotification");
    if (remove && registration_) remove(registration_);
    current = outer_;
}

void CALLBACK GuardedEntry::onModule(ULONG reason, const void* notification, void* context) {
    if (reason != kLoaded || context != current) return;  // another thread's load, or an outer guard
    const auto& library = *static_cast<const Notification*>(notification);
    void** const slot = entrySlot(library);
    if (!slot) return;
    try {
        current->entries_.emplace_back(static_cast<HINSTANCE>(library.base), slot);
    } catch (const std::bad_alloc&) {
        return;
    }
    *slot = reinterpret_cast<void*>(enter);
}

void GuardedEntry::restoreEntryOf(HINSTANCE module) {
    for (GuardedEntry* guard = current; guard; guard = guard->outer_) {
        for (const auto& [known, slot] : guard->entries_) {
            if (known == module) *slot = entryOf(module);
        }
    }
}

// The loader does not survive an exception, not even of a text that has no memory.
void GuardedEntry::note(const char* text) noexcept {
    if (!current) return;
    try {
        current->thrown_ = text;
    } catch (const std::bad_alloc&) {
        current->thrown_.emplace("std::bad_alloc");  // the string holds it itself
    }
}

BOOL WINAPI GuardedEntry::enter(HINSTANCE module, DWORD reason, LPVOID reserved) {
    restoreEntryOf(module);
    try {
        return reinterpret_cast<BOOL(WINAPI*)(HINSTANCE, DWORD, LPVOID)>(entryOf(module))(module, reason,
                                                                                          reserved);
    } catch (const std::exception& exception) {
        note(exception.what());
    } catch (...) {
        note("unknown exception");
    }
    return FALSE;
}

}  // namespace os::win32
