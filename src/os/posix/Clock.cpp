#include "os/Clock.h"

#include <cpuid.h>

#include <atomic>
#include <ctime>

namespace os {
namespace {

constexpr std::int64_t kNanosecondsPerSecond = 1'000'000'000;

std::optional<std::int64_t> nanosecondsOf(clockid_t clock) {
    timespec time{};
    if (clock_gettime(clock, &time) != 0) return std::nullopt;
    return time.tv_sec * kNanosecondsPerSecond + time.tv_nsec;
}

// Hertz, as reported by the processor; 0 if it does not report it.
double announcedCounterRate() {
    unsigned int denominator = 0;
    unsigned int numerator = 0;
    unsigned int crystalHertz = 0;
    unsigned int unused = 0;
    if (__get_cpuid(0x15, &denominator, &numerator, &crystalHertz, &unused) == 0) return 0;
    if (denominator == 0 || numerator == 0 || crystalHertz == 0) return 0;
    return static_cast<double>(crystalHertz) * numerator / denominator;
}

double measuredCounterRate() {
    constexpr std::int64_t kDuration = kNanosecondsPerSecond / 100;
    const std::int64_t start = counterTicks();
    const std::uint64_t startCycles = __builtin_ia32_rdtsc();
    std::int64_t elapsed = 0;
    while (elapsed < kDuration) elapsed = counterTicks() - start;
    const std::uint64_t cycles = __builtin_ia32_rdtsc() - startCycles;
    return static_cast<double>(cycles) * kNanosecondsPerSecond / static_cast<double>(elapsed);
}

double counterRate() {
    constinit static std::atomic<double> rate{0};  // no forked process finds it half initialized
    if (rate == 0) {
        const double announced = announcedCounterRate();
        rate = announced > 0 ? announced : measuredCounterRate();
    }
    return rate;
}

}  // namespace

std::int64_t counterTicks() {
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return time.tv_sec * kNanosecondsPerSecond + time.tv_nsec;
}

std::int64_t counterFrequency() { return kNanosecondsPerSecond; }

std::optional<double> finestTimerPeriod() {
    timespec period{};
    if (clock_getres(CLOCK_MONOTONIC, &period) != 0) return std::nullopt;
    return static_cast<double>(period.tv_sec) + static_cast<double>(period.tv_nsec) / kNanosecondsPerSecond;
}

std::optional<std::uint64_t> processCycles() {
    const auto used = nanosecondsOf(CLOCK_PROCESS_CPUTIME_ID);
    if (!used) return std::nullopt;
    return static_cast<std::uint64_t>(static_cast<double>(*used) / kNanosecondsPerSecond * counterRate());
}

}  // namespace os
