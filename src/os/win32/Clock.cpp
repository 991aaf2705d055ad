#include "os/Clock.h"

#include "os/win32/Windows.h"

#include <mmsystem.h>

#include <algorithm>

namespace os {

std::int64_t counterTicks() {
    LARGE_INTEGER ticks{};
    QueryPerformanceCounter(&ticks);
    return ticks.QuadPart;
}

std::int64_t counterFrequency() {
    LARGE_INTEGER frequency{};
    QueryPerformanceFrequency(&frequency);
    return frequency.QuadPart;
}

std::optional<double> finestTimerPeriod() {
    TIMECAPS capabilities{};
    if (timeGetDevCaps(&capabilities, sizeof capabilities) != TIMERR_NOERROR) return std::nullopt;
    return std::min(capabilities.wPeriodMin, capabilities.wPeriodMax) * 0.001;
}

// A result of 0, its ordinary failure, leaves the count 0 and is not reported.
std::optional<std::uint64_t> processCycles() {
    ULONG64 cycles = 0;
    if (QueryProcessCycleTime(GetCurrentProcess(), &cycles) == -1) return std::nullopt;
    return cycles;
}

}  // namespace os
