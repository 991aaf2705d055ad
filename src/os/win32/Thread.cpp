#include "os/Thread.h"

#include "os/win32/Gate.h"

namespace os {

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
