#pragma once

#include "os/CallStack.h"
#include "os/posix/stack/FrameUnwinder.h"

#include <cerrno>
#include <cstddef>

namespace os::posix {

/// A frame without names.
struct FrameAddress {
    std::uintptr_t programCounter;
    bool isInterrupted;
};

/// Walks outwards from `unwinder`'s frame and passes each frame to `take`, which returns false if it has no
/// room for it. Returns what ended the walk: 0 past the outermost frame, E2BIG without room, or the
/// unwinder's error.
template <typename Unwinder, typename Take>
int walkOutwards(Unwinder& unwinder, Take take) {
    // For a call of a null pointer, the caller is of interest.
    if (unwinder.programCounter() == 0) {
        if (const int error = unwinder.up(); error != 0) return error;
    }
    while (unwinder.programCounter() != 0) {
        if (!take(FrameAddress{unwinder.programCounter(), unwinder.isInterrupted()})) return E2BIG;
        if (const int error = unwinder.up(); error != 0) return error;
    }
    return 0;
}

/// The same for the calling thread, from this function outwards. Not for signal handlers.
template <typename Take>
[[gnu::noinline]] int walkFromHere(Take take) {
    FrameUnwinder unwinder;
    return walkOutwards(unwinder, take);
}

/// Another thread's stack: the frames that could be read, and the error that ended it.
struct InterruptedStack {
    std::vector<FrameAddress> frames;
    int error = 0;
};

/// The maximum number of frames read from another thread.
inline constexpr std::size_t kMostInterruptedFrames = 4096;

/// Interrupts the thread by a signal while it walks its own stack, without allocation or locks. Errors: ESRCH
/// without such a thread, ETIMEDOUT if it does not take the signal within a second or another walk does not
/// end, E2BIG past `kMostInterruptedFrames`.
InterruptedStack interruptThread(const StackThread& thread);

/// True if a thread of this process blocks all real-time signals, so that `interruptThread` would fail.
bool blocksInterrupt(unsigned long threadId);

}  // namespace os::posix
