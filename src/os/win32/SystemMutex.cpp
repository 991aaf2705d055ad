#include "os/SystemMutex.h"

#include "os/win32/Gate.h"

#include <new>

namespace os {

namespace {

HANDLE& handleIn(unsigned char* storage) {
    return *std::launder(static_cast<HANDLE*>(static_cast<void*>(storage)));
}

}  // namespace

SystemMutex::SystemMutex() noexcept {
    new (storage_) HANDLE(CreateMutexW(nullptr, FALSE, nullptr));
    isValid_ = handleIn(storage_) != nullptr;
}

SystemMutex::~SystemMutex() {
    if (isValid_) CloseHandle(handleIn(storage_));
}

WaitResult SystemMutex::lock() noexcept {
    return static_cast<WaitResult>(WaitForSingleObject(handleIn(storage_), INFINITE));
}

WaitResult SystemMutex::tryLock() noexcept {
    return static_cast<WaitResult>(WaitForSingleObject(handleIn(storage_), 0));
}

bool SystemMutex::unlock() noexcept { return ReleaseMutex(handleIn(storage_)) != 0; }

bool SystemMutex::retire() noexcept { return true; }

struct Signal::Record {
    win32::Handle event{CreateEventW(nullptr, FALSE, FALSE, nullptr)};
};

Signal::Signal() noexcept : record_(new (std::nothrow) Record) {}

Signal::~Signal() { delete record_; }

bool Signal::isValid() const noexcept { return record_ && record_->event; }

void Signal::give() noexcept { SetEvent(record_->event.get()); }

void Signal::wait(SystemMutex& mutex) {
    SignalObjectAndWait(handleIn(mutex.storage_), record_->event.get(), INFINITE, FALSE);
    mutex.lock();
}

}  // namespace os
