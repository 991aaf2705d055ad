#pragma once

#include <pthread.h>

namespace bench {

/// The system's own recursive mutex, with which ours are compared.
class PlainMutex {
public:
    explicit PlainMutex(int robustness = PTHREAD_MUTEX_STALLED, int sharing = PTHREAD_PROCESS_PRIVATE) {
        pthread_mutexattr_t attributes;
        pthread_mutexattr_init(&attributes);
        pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
        pthread_mutexattr_setrobust(&attributes, robustness);
        pthread_mutexattr_setpshared(&attributes, sharing);
        pthread_mutex_init(&mutex_, &attributes);
        pthread_mutexattr_destroy(&attributes);
    }
    PlainMutex(const PlainMutex&) = delete;
    PlainMutex& operator=(const PlainMutex&) = delete;
    ~PlainMutex() { pthread_mutex_destroy(&mutex_); }

    void lock() { pthread_mutex_lock(&mutex_); }
    void unlock() { pthread_mutex_unlock(&mutex_); }
    pthread_mutex_t* get() { return &mutex_; }

private:
    pthread_mutex_t mutex_;
};

template <typename Lock>
void lockAndUnlock(Lock& lock) {
    lock.lock();
    lock.unlock();
}

}  // namespace bench
