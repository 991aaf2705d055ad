#include "os/CriticalSection.h"

#include "os/SpinThenLock.h"

#include <pthread.h>

#include <new>

namespace os {
namespace {

pthread_mutex_t* mutexIn(unsigned char* storage) {
    return std::launder(static_cast<pthread_mutex_t*>(static_cast<void*>(storage)));
}

}  // namespace

CriticalSection::CriticalSection() {
    static_assert(sizeof(pthread_mutex_t) <= sizeof storage_);
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_init(new (storage_) pthread_mutex_t, &attributes);
    pthread_mutexattr_destroy(&attributes);
}

CriticalSection::~CriticalSection() { pthread_mutex_destroy(mutexIn(storage_)); }

void CriticalSection::lock() {
    pthread_mutex_t* const mutex = mutexIn(storage_);
    spinThenLock([=] { return pthread_mutex_trylock(mutex) == 0; }, [=] { pthread_mutex_lock(mutex); });
}

bool CriticalSection::try_lock() { return pthread_mutex_trylock(mutexIn(storage_)) == 0; }

void CriticalSection::unlock() { pthread_mutex_unlock(mutexIn(storage_)); }

}  // namespace os
