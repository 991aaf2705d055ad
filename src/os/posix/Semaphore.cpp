#include "os/Semaphore.h"

#include "base/ObjectIn.h"
#include "os/posix/PosixSupport.h"

#include <semaphore.h>

#include <new>

namespace os {

Semaphore::Semaphore(unsigned int initialCount) {
    static_assert(sizeof(sem_t) <= sizeof storage_);
    isValid_ = sem_init(new (storage_) sem_t, 0, initialCount) == 0;
}

Semaphore::~Semaphore() {
    if (isValid_) sem_destroy(base::objectIn<sem_t>(storage_));
}

void Semaphore::acquire() {
    if (isValid_) posix::retryOnInterrupt([this] { return sem_wait(base::objectIn<sem_t>(storage_)); });
}

void Semaphore::release() {
    if (isValid_) sem_post(base::objectIn<sem_t>(storage_));
}

}  // namespace os
