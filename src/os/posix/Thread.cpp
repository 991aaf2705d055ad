#include "os/Thread.h"

#include "os/posix/PosixSupport.h"

#include <pthread.h>
#include <sched.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <ctime>
#include <new>
#include <system_error>

namespace os {
namespace {

// The limit of the argument on Windows; larger values would overflow.
constexpr std::uint64_t kLongest = 0xFFFFFFFF;

// Asking the system costs more than a lock. The only thread of a forked process has a new number.
thread_local std::uint32_t cachedId = 0;

[[maybe_unused]] const int forkHandler = pthread_atfork(nullptr, nullptr, [] { cachedId = 0; });

void sleepFor(std::uint64_t nanoseconds) {
    constexpr std::uint64_t kSecond = 1'000'000'000;
    timespec end{};
    clock_gettime(CLOCK_MONOTONIC, &end);
    nanoseconds += static_cast<std::uint64_t>(end.tv_nsec);
    end.tv_sec += static_cast<std::time_t>(nanoseconds / kSecond);
    end.tv_nsec = static_cast<long>(nanoseconds % kSecond);
    posix::retryOnReturnedInterrupt(
        [&] { return clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &end, nullptr); });
}

/// What a new thread gets; the last of its two owners deletes it.
struct Start {
    unsigned int (*entry)(void*);
    void* argument;
    std::atomic<std::uint32_t> number{0};  ///< set before the thread's share is released
    std::atomic<int> owners{2};

    void release() {
        if (owners.fetch_sub(1) == 1) delete this;
    }
};

void* run(void* argument) {
    auto* const start = static_cast<Start*>(argument);
    const auto entry = start->entry;
    void* const entryArgument = start->argument;
    start->number = currentThreadId();
    start->release();
    entry(entryArgument);
    return nullptr;
}

// The system's name for the thread's clock contains its number, so nobody waits until the thread runs. A
// thread that has ended has no clock any more.
std::uint32_t numberOf(pthread_t thread, const Start& start) {
    clockid_t clock{};
    if (pthread_getcpuclockid(thread, &clock) != 0) return start.number;
    return ~static_cast<std::uint32_t>(clock >> 3);
}

}  // namespace

// The thread is detached only after its number is known; until then its record stays.
std::uint32_t startThread(unsigned int (*entry)(void*), void* argument) {
    auto* const start = new (std::nothrow) Start{entry, argument};
    pthread_t thread{};
    const int error = start ? pthread_create(&thread, nullptr, run, start) : EAGAIN;
    if (error != 0) {
        delete start;
        throw std::system_error(error, std::generic_category());
    }
    const std::uint32_t number = numberOf(thread, *start);
    start->release();
    pthread_detach(thread);
    return number;
}

std::uint32_t currentThreadId() {
    if (cachedId == 0) cachedId = static_cast<std::uint32_t>(gettid());
    return cachedId;
}

void sleepMilliseconds(unsigned long milliseconds) {
    if (milliseconds == 0)
        sched_yield();
    else
        sleepFor(std::min<std::uint64_t>(milliseconds, kLongest) * 1'000'000);
}

void sleepMicroseconds(unsigned long microseconds) {
    if (microseconds != 0) sleepFor(std::min<std::uint64_t>(microseconds, kLongest) * 1000);
}

int processorCount() { return static_cast<int>(sysconf(_SC_NPROCESSORS_ONLN)); }

}  // namespace os
