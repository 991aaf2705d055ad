#include "os/Thread.h"

#include "os/Cancellation.h"
#include "os/Semaphore.h"
#include "os/posix/PosixSupport.h"

#include <pthread.h>
#include <sched.h>
#include <unistd.h>

#include <algorithm>
#include <ctime>
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

// Only the new thread can get its number.
struct Start {
    unsigned int (*entry)(void*);
    void* argument;
    std::uint32_t number = 0;
    Semaphore isNumbered{0};
};

void* run(void* argument) {
    Start& start = *static_cast<Start*>(argument);
    const auto entry = start.entry;
    void* const entryArgument = start.argument;
    start.number = static_cast<std::uint32_t>(gettid());
    start.isNumbered.release();  // `start` may be destroyed from here on
    entry(entryArgument);
    return nullptr;
}

}  // namespace

std::uint32_t startThread(unsigned int (*entry)(void*), void* argument) {
    const CancellationShield shield;
    Start start{entry, argument};
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    pthread_t thread{};
    const int error = pthread_create(&thread, &attributes, run, &start);
    pthread_attr_destroy(&attributes);
    if (error != 0) throw std::system_error(error, std::generic_category());
    start.isNumbered.acquire();
    return start.number;
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
