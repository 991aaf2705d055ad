#pragma once

#include "os/SystemMutex.h"

#include <pthread.h>

#include <atomic>

namespace os::posix {

void makeRobust(pthread_mutex_t* mutex, int sharing);

/// Who of this process has locked a robust, re-entrant mutex through this object, and how often: what the
/// system knows too, but does not tell.
class Holding {
public:
    WaitResult lock(pthread_mutex_t* mutex) { return taken(pthread_mutex_lock(mutex), mutex); }
    WaitResult tryLock(pthread_mutex_t* mutex) { return taken(pthread_mutex_trylock(mutex), mutex); }
    /// False when the calling thread does not hold it.
    bool unlock(pthread_mutex_t* mutex);

private:
    WaitResult taken(int error, pthread_mutex_t* mutex);
    int depth() const { return depth_.load(std::memory_order_relaxed); }
    void setDepth(int depth) { depth_.store(depth, std::memory_order_relaxed); }

    std::atomic<pthread_t> holder_{};
    std::atomic<int> depth_{0};  ///< of the holder; a dead one leaves it without unlocking
};

}  // namespace os::posix
