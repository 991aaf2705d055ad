#include "os/Semaphore.h"

#include <semaphore.h>

#include <cerrno>
#include <new>

namespace os {
namespace {

sem_t* semaphoreIn(unsigned char* storage) {
    return std::launder(static_cast<sem_t*>(static_cast<void*>(storage)));
}

}  // namespace

Semaphore::Semaphore(unsigned int initialCount) {
    static_assert(sizeof(sem_t) <= sizeof storage_);
    isValid_ = sem_init(new (storage_) sem_t, 0, initialCount) == 0;
}

Semaphore::~Semaphore() {
    if (isValid_) sem_destroy(semaphoreIn(storage_));
}

void Semaphore::acquire() {
    while (isValid_ && sem_wait(semaphoreIn(storage_)) != 0 && errno == EINTR) {
    }
}

void Semaphore::release() {
    if (isValid_) sem_post(semaphoreIn(storage_));
}

}  // namespace os
