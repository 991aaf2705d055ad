#include "os/Cancellation.h"

#include <pthread.h>

namespace os {

CancellationShield::CancellationShield() noexcept {
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &previous_);
}

CancellationShield::~CancellationShield() { pthread_setcancelstate(previous_, nullptr); }

}  // namespace os
