#pragma once

#include <algorithm>

namespace base {

/// Tries for a while, at growing intervals, and then waits. Apart, so that taking a free lock stays short.
template <typename TryLock, typename Lock>
[[gnu::noinline]] void spinAndLock(TryLock tryLock, Lock lock) {
    constexpr int kTries = 32;
    constexpr int kLongestInterval = 16;
    int interval = 2;
    for (int i = 0; i < kTries; ++i) {
        for (int pause = 0; pause < interval; ++pause) __builtin_ia32_pause();
        if (tryLock()) return;
        interval = std::min(2 * interval, kLongestInterval);
    }
    lock();
}

/// Takes a lock whose holder needs less time than a thread that falls asleep and is woken. `tryLock` says
/// whether it got the lock, `lock` blocks until it has.
template <typename TryLock, typename Lock>
void spinThenLock(TryLock tryLock, Lock lock) {
    if (!tryLock()) spinAndLock(tryLock, lock);
}

}  // namespace base
