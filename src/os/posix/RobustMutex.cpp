#include "os/posix/RobustMutex.h"

#include <cerrno>

namespace os::posix {

void makeRobust(pthread_mutex_t* mutex, int sharing) {
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST);
    pthread_mutexattr_setpshared(&attributes, sharing);
    pthread_mutex_init(mutex, &attributes);
    pthread_mutexattr_destroy(&attributes);
}

WaitResult Holding::taken(int error, pthread_mutex_t* mutex) {
    if (error == EBUSY) return kBusy;
    if (error != 0 && error != EOWNERDEAD) return kWaitFailed;
    holder_.store(pthread_self(), std::memory_order_relaxed);
    if (error == 0) {
        setDepth(depth() + 1);
        return kAcquired;
    }
    pthread_mutex_consistent(mutex);
    setDepth(1);
    return kAcquiredFromDeadOwner;
}

bool Holding::unlock(pthread_mutex_t* mutex) {
    if (holder_.load(std::memory_order_relaxed) != pthread_self()) return false;
    setDepth(depth() - 1);
    if (depth() == 0) holder_.store({}, std::memory_order_relaxed);
    return pthread_mutex_unlock(mutex) == 0;
}

}  // namespace os::posix
