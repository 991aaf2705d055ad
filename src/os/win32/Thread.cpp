#include "os/Thread.h"

#include "os/win32/Windows.h"

#include <process.h>

#include <memory>
#include <system_error>

namespace os {
namespace {

struct Start {
    unsigned int (*entry)(void*);
    void* argument;
};

unsigned int __stdcall run(void* argument) noexcept {
    const std::unique_ptr<Start> start(static_cast<Start*>(argument));
    return start->entry(start->argument);
}

// The entry function returns here, perhaps after the last user has freed the library.
void keepLibraryLoaded() {
    HMODULE library = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_PIN | GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                       reinterpret_cast<LPCWSTR>(&run), &library);
}

}  // namespace

// The number comes from the system, because a thread created in a static initializer does not run before the
// initializer ends.
std::uint32_t startThread(unsigned int (*entry)(void*), void* argument) {
    keepLibraryLoaded();
    auto start = std::make_unique<Start>(Start{entry, argument});
    unsigned int number = 0;
    const win32::Handle thread(
        reinterpret_cast<HANDLE>(_beginthreadex(nullptr, 0, run, start.get(), 0, &number)));
    if (!thread) throw std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again));
    start.release();
    return number;
}

std::uint32_t currentThreadId() { return GetCurrentThreadId(); }

void sleepMilliseconds(unsigned long milliseconds) { Sleep(milliseconds); }

void sleepMicroseconds(unsigned long microseconds) {
    const win32::Handle timer(CreateWaitableTimerW(nullptr, TRUE, nullptr));
    if (!timer) return;
    LARGE_INTEGER due{};
    due.QuadPart = -10 * LONGLONG{microseconds};  // relative, in tenths of microseconds
    if (SetWaitableTimer(timer.get(), &due, 0, nullptr, nullptr, FALSE))
        WaitForSingleObject(timer.get(), INFINITE);
}

int processorCount() {
    SYSTEM_INFO info{};
    GetSystemInfo(&info);
    return static_cast<int>(info.dwNumberOfProcessors);
}

}  // namespace os
