// The allocator of the C runtime, which also serves `operator new` and the libraries, is replaced where they
// import it. Left out is the compiler's runtime: it ends the process if thread-local variables get no memory.

#include "faults/Failures.h"
#include "faults/win32/FailingCalls.h"
#include "faults/win32/ImportTable.h"

#include <malloc.h>
#include <windows.h>

#include <tlhelp32.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <string_view>
#include <thread>

namespace faults {
namespace {

bool refuses() {
    if (!allocationFails()) return false;
    errno = ENOMEM;
    return true;
}

void* allocate(std::size_t size) { return refuses() ? nullptr : counted(std::malloc(size)); }

void* allocateZeros(std::size_t count, std::size_t size) {
    return refuses() ? nullptr : counted(std::calloc(count, size));
}

void* allocateAgain(void* block, std::size_t size) {
    if (refuses()) return nullptr;
    void* const moved = std::realloc(block, size);
    if (!moved && size == 0) released(block);
    return block ? moved : counted(moved);
}

void* allocateAligned(std::size_t size, std::size_t alignment) {
    return refuses() ? nullptr : counted(_aligned_malloc(size, alignment));
}

void release(void* block) {
    released(block);
    std::free(block);
}

void releaseAligned(void* block) {
    released(block);
    _aligned_free(block);
}

void* allocatorNamed(const char* name, void* /*function*/) {
    const std::string_view text = name;
    if (text == "malloc") return reinterpret_cast<void*>(allocate);
    if (text == "calloc") return reinterpret_cast<void*>(allocateZeros);
    if (text == "realloc") return reinterpret_cast<void*>(allocateAgain);
    if (text == "_aligned_malloc") return reinterpret_cast<void*>(allocateAligned);
    if (text == "free") return reinterpret_cast<void*>(release);
    if (text == "_aligned_free") return reinterpret_cast<void*>(releaseAligned);
    return nullptr;
}

}  // namespace

void prepareFailures() {
    for (const wchar_t* library : {L"QvPlatform.dll", L"libstdc++-6.dll", L"libtbb12.dll"})
        replaceImports(library, allocatorNamed);
    replaceCalls();
}

std::uintptr_t currentThread() { return GetCurrentThreadId(); }

int openHandles() {
    DWORD count = 0;
    return GetProcessHandleCount(GetCurrentProcess(), &count) ? static_cast<int>(count) : -1;
}

bool hasChildren() {
    const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
    PROCESSENTRY32W entry{};
    entry.dwSize = sizeof entry;
    bool isFound = false;
    for (BOOL is = Process32FirstW(snapshot, &entry); is && !isFound; is = Process32NextW(snapshot, &entry))
        isFound = entry.th32ParentProcessID == GetCurrentProcessId() &&
                  std::wstring_view(entry.szExeFile) != L"conhost.exe";  // serves this process's console
    CloseHandle(snapshot);
    return isFound;
}

void endProcess(int status) { TerminateProcess(GetCurrentProcess(), static_cast<UINT>(status)); }

void allowSeconds(unsigned seconds) {
    static std::atomic<ULONGLONG> end{0};
    const bool isWatched = end.exchange(GetTickCount64() + 1'000ULL * seconds) != 0;
    if (isWatched) return;
    std::thread([] {
        while (GetTickCount64() < end) Sleep(100);
        endProcess(99);
    }).detach();
}

void markForTracer() {}

}  // namespace faults
