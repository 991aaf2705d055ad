#include "child/Footprint.h"

#include <QvPlatform/core/StringConversions.h>

#include "os/win32/Windows.h"

#include <psapi.h>

#include <algorithm>
#include <cstdint>

namespace qvp::footprint {
namespace {

using os::win32::Handle;
using QvPlatform::StringConversions::toNarrow;

std::vector<HMODULE> modules() {
    std::vector<HMODULE> all(1024);
    DWORD needed = 0;
    const auto size = static_cast<DWORD>(all.size() * sizeof(HMODULE));
    if (!K32EnumProcessModules(GetCurrentProcess(), all.data(), size, &needed)) return {};
    all.resize(std::min<std::size_t>(all.size(), needed / sizeof(HMODULE)));
    return all;
}

std::string fileOf(HMODULE module) { return toNarrow(os::win32::universal(os::win32::fileOfModule(module))); }

// The system ignores case in names, and a variable that is written again may get another one.
std::string variableName(std::wstring_view name) {
    std::string text = toNarrow(std::wstring(name));
    std::transform(text.begin(), text.end(), text.begin(),
                   [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; });
    return text;
}

void addEnvironment(Footprint::Items& items) {
    wchar_t* const block = GetEnvironmentStringsW();
    for (const wchar_t* at = block; at && *at; at += std::wcslen(at) + 1) {
        const std::wstring text = at;
        const auto end = std::min(text.find(L'=', 1), text.size());
        items[variableName(text.substr(0, end))] = toNarrow(text.substr(std::min(end + 1, text.size())));
    }
    if (block) FreeEnvironmentStringsW(block);
}

bool isNewModule(std::uint64_t address, const Footprint::Items& known) {
    HMODULE module = nullptr;
    constexpr DWORD kByAddress =
        GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT;
    if (!GetModuleHandleExW(kByAddress, reinterpret_cast<const wchar_t*>(address), &module)) return false;
    return known.count(fileOf(module)) == 0;
}

// Copied, because the loader's lock, which looking up a module takes, may be held by the stopped thread; so
// may that of the heap. The end of a very deep stack is left out.
std::vector<std::uint64_t> copyOfStack(HANDLE thread) {
    std::vector<std::uint64_t> words(std::size_t{1} << 17U);
    SIZE_T read = 0;
    if (SuspendThread(thread) == static_cast<DWORD>(-1)) return {};
    CONTEXT context{};
    context.ContextFlags = CONTEXT_CONTROL;
    MEMORY_BASIC_INFORMATION region{};
    if (GetThreadContext(thread, &context) &&
        VirtualQuery(reinterpret_cast<const void*>(context.Rsp), &region, sizeof region) != 0) {
        const auto end = reinterpret_cast<std::uintptr_t>(region.BaseAddress) + region.RegionSize;
        ReadProcessMemory(GetCurrentProcess(), reinterpret_cast<const void*>(context.Rsp), words.data(),
                          std::min<std::size_t>(end - context.Rsp, words.size() * sizeof(std::uint64_t)),
                          &read);
    }
    ResumeThread(thread);
    words.resize(read / sizeof(std::uint64_t));
    return words;
}

}  // namespace

void addSystemItems(Footprint& footprint) {
    DWORD handles = 0;
    if (GetProcessHandleCount(GetCurrentProcess(), &handles))
        footprint.kinds["handle"]["number of open handles"] = std::to_string(handles);
    for (HMODULE module : modules()) footprint.kinds["mapping"][fileOf(module)] = {};
    addEnvironment(footprint.kinds["environment"]);
    const std::wstring directory =
        os::win32::filled([](wchar_t* text, DWORD size) { return GetCurrentDirectoryW(size, text); });
    footprint.kinds["currentDirectory"][toNarrow(os::win32::universal(directory))] = {};
}

std::string threadText(unsigned long thread) { return std::to_string(thread); }

bool runsNewCode(unsigned long thread, const Footprint& before) {
    const Handle handle(
        OpenThread(THREAD_SUSPEND_RESUME | THREAD_GET_CONTEXT | THREAD_QUERY_INFORMATION, FALSE, thread));
    if (!handle) return true;
    const std::vector<std::uint64_t> words = copyOfStack(handle.get());
    if (words.empty()) return true;
    return std::any_of(words.begin(), words.end(),
                       [&](std::uint64_t word) { return isNewModule(word, before.kinds.at("mapping")); });
}

}  // namespace qvp::footprint
