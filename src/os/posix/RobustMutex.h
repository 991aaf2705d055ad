#pragma once

#include "os/SystemMutex.h"

#include <pthread.h>

namespace os::posix {

/// Makes a re-entrant mutex that notices its owner's death in any process that maps it.
void makeRobust(pthread_mutex_t* mutex);

/// What the result of locking it means. A mutex whose owner died is made usable.
WaitResult lockingResult(int error, pthread_mutex_t* mutex);

}  // namespace os::posix
