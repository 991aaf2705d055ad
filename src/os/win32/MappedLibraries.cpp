#include "os/MappedLibraries.h"

#include "os/CallStack.h"
#include "os/win32/Windows.h"

#include <bit>

namespace os {
namespace {

HMODULE moduleAt(const wchar_t* pathOrAddress, DWORD flags) {
    HMODULE module = nullptr;
    const BOOL isFound =
        GetModuleHandleExW(flags | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT, pathOrAddress, &module);
    return isFound ? module : nullptr;
}

// The size that the headers of a module in memory state.
DWORD64 sizeOf(const void* module) {
    const auto* const bytes = static_cast<const char*>(module);
    const auto* const start = static_cast<const IMAGE_DOS_HEADER*>(module);
    const auto* const headers =
        static_cast<const IMAGE_NT_HEADERS64*>(static_cast<const void*>(bytes + start->e_lfanew));
    return headers->OptionalHeader.SizeOfImage;
}

// Between suspending and resuming there are only system calls, because the thread may hold any lock. Reads
// the stack from the stack pointer to the end of the committed part that it points into.
bool mayRunIn(DWORD64 begin, DWORD64 size, HANDLE thread) {
    if (SuspendThread(thread) == static_cast<DWORD>(-1)) return false;
    CONTEXT context{};
    context.ContextFlags = CONTEXT_FULL;
    MEMORY_BASIC_INFORMATION region{};
    bool isFound = false;
    if (GetThreadContext(thread, &context)) {
        isFound = context.Rip - begin < size;
        const auto* const top = std::bit_cast<const DWORD64*>(context.Rsp);
        if (VirtualQuery(top, &region, sizeof region) != 0 && region.State == MEM_COMMIT) {
            const DWORD64 bytes =
                std::bit_cast<DWORD64>(region.BaseAddress) + region.RegionSize - context.Rsp;
            const auto isInside = [&](DWORD64 word) { return word - begin < size; };
            isFound = isFound || std::any_of(top, top + bytes / sizeof *top, isInside);
        }
    }
    ResumeThread(thread);
    return isFound;
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

// The word found may be the rest of an earlier call.
std::vector<unsigned long> threadsIn(const void* handle) {
    constexpr DWORD kAccess = THREAD_SUSPEND_RESUME | THREAD_GET_CONTEXT | THREAD_QUERY_INFORMATION;
    const auto begin = std::bit_cast<DWORD64>(handle);
    const DWORD64 size = sizeOf(handle);
    std::vector<unsigned long> threads = threadIds(GetCurrentProcessId());
    std::erase_if(threads, [&](unsigned long id) {
        if (id == GetCurrentThreadId()) return true;
        const win32::Handle thread(OpenThread(kAccess, FALSE, id));
        return !thread.get() || !mayRunIn(begin, size, thread.get());
    });
    return threads;
}

}  // namespace os
