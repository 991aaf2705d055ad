#include "os/Semaphore.h"

#include "base/ObjectIn.h"
#include "os/win32/Windows.h"

#include <climits>
#include <memory>
#include <new>

namespace os {
Semaphore::Semaphore(unsigned int initialCount) {
    new (storage_)
        win32::Handle(CreateSemaphoreW(nullptr, static_cast<LONG>(initialCount), LONG_MAX, nullptr));
    isValid_ = win32::handleIn(storage_) != nullptr;
}

Semaphore::~Semaphore() { std::destroy_at(base::objectIn<win32::Handle>(storage_)); }

void Semaphore::acquire() {
    if (isValid_) WaitForSingleObject(win32::handleIn(storage_), INFINITE);
}

void Semaphore::release() {
    if (isValid_) ReleaseSemaphore(win32::handleIn(storage_), 1, nullptr);
}

}  // namespace os
