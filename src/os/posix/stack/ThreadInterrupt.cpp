// The requester, under `kRequesterLock`, numbers its request and moves `slot.state` to kAsked, then sends the
// signal with that number. The handler moves kAsked to kWalking by compare-and-exchange, fills in the frames,
// sets kDone and posts `done`. The requester reads the frames only in kDone.
//
// If the thread does not take the signal in time, the requester moves kAsked back to kIdle; a late signal
// then finds another state and does nothing. If the handler is walking, the requester waits once more. If
// that fails too, the slot still belongs to the handler, and every request fails with ETIMEDOUT until it is
// done.
//
// `kRequesterLock` is only ever tried, for about three seconds, because its holder may be the calling thread
// itself. The handler takes no lock and allocates nothing. A forked child prepares the slot anew.

#include "os/posix/stack/ThreadInterrupt.h"

#include "os/Cancellation.h"
#include "os/ProcessLock.h"
#include "os/posix/PosixSupport.h"
#include "os/posix/stack/FrameUnwinder.h"

#include <pthread.h>
#include <semaphore.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <bit>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <mutex>
#include <optional>
#include <string>

namespace os::posix {
namespace {

constexpr std::time_t kPatience = 1;  // seconds

enum Phase : std::uint64_t {
    kIdle,     ///< no request; a signal that arrives late does nothing
    kAsked,    ///< the signal is on its way
    kWalking,  ///< the thread fills in its frames
    kDone
};

/// Where the one thread that is interrupted at a time leaves its frames. It lives forever, because the signal
/// may arrive after the wait for it has ended.
struct Slot {
    std::atomic<pid_t> process{0};            ///< which process prepared the slot
    std::atomic<std::uint64_t> state{kIdle};  ///< a phase and the number of the request
    sem_t done{};
    std::array<FrameAddress, kMostInterruptedFrames> frames{};
    std::size_t count = 0;
    int error = 0;
    std::optional<FrameUnwinder> unwinder;  ///< not on the thread's stack, which may be a small one
};

constinit Slot slot;
constexpr ProcessLock kRequesterLock{LockRank::stackWalk};
std::uint64_t lastRequest = 0;
int interruptSignal = 0;

std::uint64_t stateOf(std::uint64_t request, Phase phase) { return request << 2 | phase; }

// Walks from here, not from the signal's context: a thread sanitizer delays signals, and the context is then
// out of date. The frames up to and including the kernel's signal frame, if there is one, belong
// to the handler and are dropped.
void fillSlot() {
    ucontext_t here;
    getcontext(&here);
    slot.unwinder.emplace(here);
    slot.count = 0;
    bool isOutside = false;
    slot.error = walkOutwards(*slot.unwinder, [&](const FrameAddress& frame) {
        if (frame.isInterrupted && slot.count > 0 && !isOutside) {
            isOutside = true;
            slot.count = 0;
        }
        if (slot.count == slot.frames.size()) return false;
        slot.frames[slot.count++] = frame;
        return true;
    });
}

void onInterrupt(int, siginfo_t* info, void*) {
    if (info->si_code != SI_QUEUE || info->si_pid != getpid()) return;
    const int saved = errno;
    const auto request = std::bit_cast<std::uintptr_t>(info->si_value.sival_ptr);
    std::uint64_t expected = stateOf(request, kAsked);
    if (slot.state.compare_exchange_strong(expected, stateOf(request, kWalking))) {
        fillSlot();
        slot.state.store(stateOf(request, kDone));
        sem_post(&slot.done);
    }
    errno = saved;
}

bool isOurs(int signal) {
    struct sigaction action {};
    return signal != 0 && sigaction(signal, nullptr, &action) == 0 && (action.sa_flags & SA_SIGINFO) != 0 &&
           action.sa_sigaction == onInterrupt;
}

// Chooses the highest real-time signal without a handler. If the application takes it later, another one is
// chosen.
bool chooseSignal() {
    if (isOurs(interruptSignal)) return true;
    for (int signal = SIGRTMAX; signal >= SIGRTMIN; --signal) {
        struct sigaction action {};
        if (sigaction(signal, nullptr, &action) != 0 || action.sa_handler != SIG_DFL) continue;
        action = {};
        action.sa_sigaction = onInterrupt;
        action.sa_flags = SA_SIGINFO | SA_RESTART | SA_ONSTACK;
        sigfillset(&action.sa_mask);
        interruptSignal = signal;
        return sigaction(signal, &action, nullptr) == 0;
    }
    return false;
}

// The C library reads the thread's record to see whether the thread has ended, so the record must still be
// readable.
int sendToHandle(void* handle, sigval value) {
    constexpr std::uintptr_t kRecord = 2048;
    const auto address = std::bit_cast<std::uintptr_t>(handle);
    LocalMemory memory;
    std::uintptr_t word = 0;
    if (!memory.read(address, word) || !memory.read(address + kRecord, word)) return ESRCH;
    return pthread_sigqueue(std::bit_cast<pthread_t>(handle), interruptSignal, value);
}

int sendToNumber(unsigned long id, sigval value) {
    siginfo_t info{};
    info.si_signo = interruptSignal;
    info.si_code = SI_QUEUE;
    info.si_pid = getpid();
    info.si_uid = getuid();
    info.si_value = value;
    const long result = syscall(SYS_rt_tgsigqueueinfo, getpid(), id, interruptSignal, &info);
    return result == 0 ? 0 : errno;
}

timespec timeAfter(std::time_t seconds) {
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    time.tv_sec += seconds;
    return time;
}

bool waitFor(std::uint64_t wanted, std::time_t seconds) {
    const timespec end = timeAfter(seconds);
    while (slot.state.load() != wanted)
        if (retryOnInterrupt([&] { return sem_clockwait(&slot.done, CLOCK_MONOTONIC, &end); }) != 0)
            return slot.state.load() == wanted;
    return true;
}

bool prepareSlot() {
    if (slot.process.load() == getpid()) return true;
    if (sem_init(&slot.done, 0, 0) != 0) return false;
    slot.state = kIdle;
    slot.process = getpid();
    return true;
}

// The holder may be this thread itself, interrupted during a walk by a signal whose handler walks. So the
// wait is limited to the longest time that a walk takes.
bool lockForWalk() {
    constexpr timespec kPause{0, 1'000'000};
    const timespec end = timeAfter(3 * kPatience);
    while (!kRequesterLock.try_lock()) {
        timespec now{};
        clock_gettime(CLOCK_MONOTONIC, &now);
        if (now.tv_sec > end.tv_sec) return false;
        nanosleep(&kPause, nullptr);
    }
    return true;
}

int ask(const StackThread& thread) {
    if (!prepareSlot() || !chooseSignal()) return EAGAIN;
    // A thread that was delayed during its walk still owns the slot.
    if ((slot.state.load() & 3) == kWalking) return ETIMEDOUT;
    const std::uint64_t request = ++lastRequest;
    const sigval value{.sival_ptr = std::bit_cast<void*>(request)};
    slot.state = stateOf(request, kAsked);
    const int error = thread.handle ? sendToHandle(thread.handle, value) : sendToNumber(thread.id, value);
    if (error == 0 && waitFor(stateOf(request, kDone), kPatience)) return 0;
    std::uint64_t expected = stateOf(request, kAsked);
    if (slot.state.compare_exchange_strong(expected, kIdle)) return error != 0 ? error : ETIMEDOUT;
    return waitFor(stateOf(request, kDone), kPatience) ? 0 : ETIMEDOUT;
}

}  // namespace

bool blocksInterrupt(unsigned long threadId) {
    std::ifstream status("/proc/self/task/" + std::to_string(threadId) + "/status");
    for (std::string line; std::getline(status, line);) {
        if (!line.starts_with("SigBlk:")) continue;
        constexpr std::size_t kDigits = 16;
        const std::uint64_t blocked = std::strtoull(line.c_str() + line.size() - kDigits, nullptr, 16);
        return std::countr_one(blocked >> static_cast<unsigned>(SIGRTMIN - 1)) > SIGRTMAX - SIGRTMIN;
    }
    return false;
}

InterruptedStack interruptThread(const StackThread& thread) {
    InterruptedStack stack;
    if (!lockForWalk()) {
        stack.error = ETIMEDOUT;
        return stack;
    }
    const CancellationShield shield;
    const std::lock_guard guard(kRequesterLock, std::adopt_lock);
    stack.error = ask(thread);
    if (stack.error != 0) return stack;
    stack.frames.assign(slot.frames.begin(), slot.frames.begin() + static_cast<std::ptrdiff_t>(slot.count));
    stack.error = slot.error;
    return stack;
}

}  // namespace os::posix
