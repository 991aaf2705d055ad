#include "os/Semaphore.h"

#include "os/win32/Gate.h"

#include <climits>
#include <new>

namespace os {
namespace {

HANDLE& handleIn(unsigned char* storage) {
    return *std::launder(static_cast<HANDLE*>(static_cast<void*>(storage)));
}

}  // namespace

Semaphore::Semaphore(unsigned int initialCount) {
    new (storage_) HANDLE(CreateSemaphoreW(nullptr, static_cast<LONG>(initialCount), LONG_MAX, nullptr));
    isValid_ = handleIn(storage_) != nullptr;
}

Semaphore::~Semaphore() {
    if (isValid_) CloseHandle(handleIn(storage_));
}

void Semaphore::acquire() {
    if (isValid_) WaitForSingleObject(handleIn(storage_), INFINITE);
}

void Semaphore::release() {
    if (isValid_) ReleaseSemaphore(handleIn(storage_), 1, nullptr);
}

}  // namespace os
