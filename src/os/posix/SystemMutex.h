#pragma once

// Inline, because another call would add a sixth to the time of the system's function.

#include "os/SystemMutex.h"
#include "os/posix/CriticalSection.h"

#include <cerrno>

namespace os {
namespace posix {

/// Handles the rare results.
inline WaitResult resultOf(int error, pthread_mutex_t* mutex) noexcept {
    if (error == EBUSY) return kBusy;
    return error == EOWNERDEAD && pthread_mutex_consistent(mutex) == 0 ? kAcquiredFromDeadOwner : kWaitFailed;
}

}  // namespace posix

inline WaitResult SystemMutex::lock() noexcept {
    const int error = pthread_mutex_lock(posix::mutexIn(storage_));
    return error == 0 ? kAcquired : posix::resultOf(error, posix::mutexIn(storage_));
}

inline WaitResult SystemMutex::tryLock() noexcept {
    const int error = pthread_mutex_trylock(posix::mutexIn(storage_));
    return error == 0 ? kAcquired : posix::resultOf(error, posix::mutexIn(storage_));
}

inline bool SystemMutex::unlock() noexcept { return pthread_mutex_unlock(posix::mutexIn(storage_)) == 0; }

}  // namespace os
