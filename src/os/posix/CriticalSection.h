#pragma once

// Inline, because another call would add a sixth to the time of the system's function.

#include "base/ObjectIn.h"
#include "os/CriticalSection.h"

#include <pthread.h>

#include <new>

namespace os {
namespace posix {

inline pthread_mutex_t* mutexIn(unsigned char* storage) noexcept {
    return base::objectIn<pthread_mutex_t>(storage);
}

}  // namespace posix

inline CriticalSection::CriticalSection() {
    static_assert(sizeof(pthread_mutex_t) <= sizeof storage_);
    new (storage_) pthread_mutex_t(PTHREAD_RECURSIVE_MUTEX_INITIALIZER_NP);
}

inline CriticalSection::~CriticalSection() { pthread_mutex_destroy(posix::mutexIn(storage_)); }

inline int CriticalSection::lock() noexcept { return pthread_mutex_lock(posix::mutexIn(storage_)); }

inline bool CriticalSection::try_lock() noexcept {
    return pthread_mutex_trylock(posix::mutexIn(storage_)) == 0;
}

inline void CriticalSection::unlock() noexcept { pthread_mutex_unlock(posix::mutexIn(storage_)); }

}  // namespace os
