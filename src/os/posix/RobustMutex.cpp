#include "os/posix/RobustMutex.h"

#include <cerrno>

namespace os::posix {

void makeRobust(pthread_mutex_t* mutex) {
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST);
    pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED);
    pthread_mutex_init(mutex, &attributes);
    pthread_mutexattr_destroy(&attributes);
}

WaitResult lockingResult(int error, pthread_mutex_t* mutex) {
    if (error == 0) return kAcquired;
    if (error == EBUSY) return kBusy;
    if (error != EOWNERDEAD) return kWaitFailed;
    pthread_mutex_consistent(mutex);
    return kAcquiredFromDeadOwner;
}

}  // namespace os::posix
