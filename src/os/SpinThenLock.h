#pragma once

namespace os {

/// Tries for a while, at growing intervals, and then waits. Apart, so that taking a free lock stays short.
template <typename TryLock, typename Lock>
[[gnu::noinline]] void spinAndLock(TryLock tryLock, Lock lock) {
    constexpr int kLongestInterval = 512;
    for (int interval = 4; interval <= kLongestInterval; interval *= 2) {
        for (int i = 0; i < interval; ++i) __builtin_ia32_pause();
        if (tryLock()) return;
    }
    lock();
}

/// Takes a lock whose holder needs less time than a thread that falls asleep and is woken. `tryLock` says
/// whether it got the lock, `lock` blocks until it has.
template <typename TryLock, typename Lock>
void spinThenLock(TryLock tryLock, Lock lock) {
    if (!tryLock()) spinAndLock(tryLock, lock);
}

}  // namespace os
