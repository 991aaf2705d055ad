#include "faults/win32/ImportTable.h"

#include <windows.h>

namespace faults {

void replaceImports(const wchar_t* library,
                    const std::function<void*(const char* name, void* function)>& choose) {
    auto* const base = reinterpret_cast<char*>(GetModuleHandleW(library));
    if (!base) return;
    const auto* const dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
    const auto* const headers = reinterpret_cast<const IMAGE_NT_HEADERS64*>(base + dos->e_lfanew);
    const auto& directory = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    const auto* from = reinterpret_cast<const IMAGE_IMPORT_DESCRIPTOR*>(base + directory.VirtualAddress);
    for (; from->Name != 0; ++from) {
        const auto* name = reinterpret_cast<const IMAGE_THUNK_DATA64*>(base + from->OriginalFirstThunk);
        auto* place = reinterpret_cast<void**>(base + from->FirstThunk);
        for (; name->u1.AddressOfData != 0; ++name, ++place) {
            if (IMAGE_SNAP_BY_ORDINAL64(name->u1.Ordinal)) continue;
            const auto* const entry =
                reinterpret_cast<const IMAGE_IMPORT_BY_NAME*>(base + name->u1.AddressOfData);
            void* const chosen = choose(reinterpret_cast<const char*>(entry->Name), *place);
            DWORD protection = 0;
            if (!chosen || !VirtualProtect(place, sizeof *place, PAGE_READWRITE, &protection)) continue;
            *place = chosen;
            VirtualProtect(place, sizeof *place, protection, &protection);
        }
    }
}

}  // namespace faults
