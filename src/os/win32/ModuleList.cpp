#include "os/win32/ModuleList.h"

#include <psapi.h>
#include <tlhelp32.h>

#include <bit>

namespace os::win32 {
namespace {

// Older systems have these functions in another library.
std::vector<LoadedModule> modulesBySnapshot(DWORD processId) {
    decltype(CreateToolhelp32Snapshot)* createSnapshot = nullptr;
    decltype(Module32First)* first = nullptr;
    decltype(Module32Next)* next = nullptr;
    std::vector<LoadedModule> modules;
    for (const wchar_t* file : {L"kernel32.dll", L"tlhelp32.dll"}) {
        const RuntimeLibrary library(file);
        if (!library.resolve(createSnapshot, "CreateToolhelp32Snapshot") ||
            !library.resolve(first, "Module32First") || !library.resolve(next, "Module32Next"))
            continue;
        const Handle snapshot(createSnapshot(TH32CS_SNAPMODULE, processId));
        MODULEENTRY32 entry{};
        entry.dwSize = sizeof entry;
        for (BOOL found = snapshot && first(snapshot.get(), &entry); found;
             found = next(snapshot.get(), &entry))
            modules.push_back({std::bit_cast<DWORD64>(entry.modBaseAddr), entry.modBaseSize, entry.szExePath,
                               entry.szModule});
        break;
    }
    return modules;
}

std::vector<LoadedModule> modulesByList(HANDLE process) {
    const RuntimeLibrary library(L"psapi.dll");
    decltype(EnumProcessModules)* enumerate = nullptr;
    decltype(GetModuleFileNameExA)* fileName = nullptr;
    decltype(GetModuleBaseNameA)* baseName = nullptr;
    decltype(GetModuleInformation)* information = nullptr;
    std::vector<LoadedModule> modules;
    if (!library.resolve(enumerate, "EnumProcessModules") ||
        !library.resolve(fileName, "GetModuleFileNameExA") ||
        !library.resolve(baseName, "GetModuleBaseNameA") ||
        !library.resolve(information, "GetModuleInformation"))
        return modules;
    std::vector<HMODULE> handles(1024);
    DWORD bytes = 0;
    const auto capacity = static_cast<DWORD>(handles.size() * sizeof(HMODULE));
    if (!enumerate(process, handles.data(), capacity, &bytes)) return modules;
    handles.resize(std::min(bytes, capacity) / sizeof(HMODULE));
    for (HMODULE handle : handles) {
        MODULEINFO info{};
        char file[MAX_PATH] = "";
        char name[MAX_PATH] = "";
        if (!information(process, handle, &info, sizeof info)) continue;
        fileName(process, handle, file, MAX_PATH);
        baseName(process, handle, name, MAX_PATH);
        modules.push_back({std::bit_cast<DWORD64>(info.lpBaseOfDll), info.SizeOfImage, file, name});
    }
    return modules;
}

}  // namespace

std::vector<LoadedModule> loadedModules(DWORD processId, HANDLE process) {
    std::vector<LoadedModule> modules = modulesBySnapshot(processId);
    return modules.empty() ? modulesByList(process) : modules;
}

}  // namespace os::win32
