#pragma once

namespace os {

/// Takes a lock whose holder needs less time than a thread that falls asleep and is woken: tries for a
/// while before it waits. `tryLock` says whether it got the lock, `lock` blocks until it has.
template <typename TryLock, typename Lock>
void spinThenLock(TryLock tryLock, Lock lock) {
    constexpr int kTries = 500;
    for (int i = 0; i < kTries; ++i) {
        if (tryLock()) return;
        __builtin_ia32_pause();
    }
    lock();
}

}  // namespace os
