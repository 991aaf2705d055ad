#pragma once

#include "os/CallStack.h"

#include <span>

namespace os::posix {

/// What a stack consists of, before anything is named.
struct FrameAddress {
    std::uintptr_t programCounter;
    bool isInterrupted;
};

/// Walks outwards from `unwinder`'s frame and hands each to `take`, which says whether there is room for
/// more. Returns what ended it.
template <typename Unwinder, typename Take>
int walkOutwards(Unwinder& unwinder, Take take) {
    // The caller of a null pointer is of interest.
    if (unwinder.programCounter() == 0) {
        if (const int error = unwinder.up(); error != 0) return error;
    }
    while (unwinder.programCounter() != 0) {
        if (!take(FrameAddress{unwinder.programCounter(), unwinder.isInterrupted()})) return 0;
        if (const int error = unwinder.up(); error != 0) return error;
    }
    return 0;
}

/// Another thread's stack: the frames that could be read, and the error that ended it.
struct InterruptedStack {
    std::vector<FrameAddress> frames;
    int error = 0;
};

/// Interrupts the thread by a signal for as long as walking its stack takes, without memory or locks. ESRCH
/// when there is no such thread, ETIMEDOUT when it does not take the signal within a second.
InterruptedStack interruptThread(const StackThread& thread);

}  // namespace os::posix
