#include "os/Semaphore.h"

#include "base/ObjectIn.h"
#include "os/win32/Windows.h"

#include <climits>
#include <memory>
#include <new>

namespace os {
namespace {

HANDLE handleIn(unsigned char* storage) { return base::objectIn<win32::Handle>(storage)->get(); }

}  // namespace

Semaphore::Semaphore(unsigned int initialCount) {
    new (storage_)
        win32::Handle(CreateSemaphoreW(nullptr, static_cast<LONG>(initialCount), LONG_MAX, nullptr));
    isValid_ = handleIn(storage_) != nullptr;
}

Semaphore::~Semaphore() { std::destroy_at(base::objectIn<win32::Handle>(storage_)); }

void Semaphore::acquire() {
    if (isValid_) WaitForSingleObject(handleIn(storage_), INFINITE);
}

void Semaphore::release() {
    if (isValid_) ReleaseSemaphore(handleIn(storage_), 1, nullptr);
}

}  // namespace os
