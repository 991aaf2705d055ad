#pragma once

namespace os {

/// Takes a lock whose holder needs less time than a thread that falls asleep and is woken: tries for a
/// while, at growing intervals, before it waits. `tryLock` says whether it got the lock, `lock` blocks until
/// it has.
template <typename TryLock, typename Lock>
void spinThenLock(TryLock tryLock, Lock lock) {
    constexpr int kLongestInterval = 512;
    if (tryLock()) return;
    for (int interval = 4; interval <= kLongestInterval; interval *= 2) {
        for (int i = 0; i < interval; ++i) __builtin_ia32_pause();
        if (tryLock()) return;
    }
    lock();
}

}  // namespace os
