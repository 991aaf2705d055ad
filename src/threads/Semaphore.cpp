#include <QvPlatform/threads/Semaphore.h>

#include "os/Semaphore.h"

namespace QvPlatform {

struct Semaphore::Record {
    os::Semaphore semaphore;
};

Semaphore::Semaphore() : Semaphore(0) {}

Semaphore::Semaphore(unsigned int initialCount) : record_(new Record{os::Semaphore(initialCount)}) {}

Semaphore::~Semaphore() = default;

void Semaphore::acquire() { record_->semaphore.acquire(); }

void Semaphore::release() { record_->semaphore.release(); }

}  // namespace QvPlatform
