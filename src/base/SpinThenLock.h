#pragma once

#include <algorithm>

namespace base {

/// Tries for a while, at growing intervals, and then waits. A separate function, to keep the fast path short.
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

/// Acquires a lock that is usually held for less time than it takes to block and wake a thread. `tryLock`
/// returns whether it acquired the lock; `lock` blocks until it has.
template <typename TryLock, typename Lock>
void spinThenLock(TryLock tryLock, Lock lock) {
    if (!tryLock()) spinAndLock(tryLock, lock);
}

}  // namespace base
