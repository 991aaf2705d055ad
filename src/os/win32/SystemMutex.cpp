#include "os/SystemMutex.h"

#include "os/win32/Gate.h"

#include <new>

namespace os {
namespace {

HANDLE& handleIn(unsigned char* storage) {
    return *std::launder(static_cast<HANDLE*>(static_cast<void*>(storage)));
}

HANDLE handleIn(const unsigned char* storage) {
    return *std::launder(static_cast<const HANDLE*>(static_cast<const void*>(storage)));
}

}  // namespace

SystemMutex::SystemMutex() { new (storage_) HANDLE(CreateMutexW(nullptr, FALSE, nullptr)); }

SystemMutex::~SystemMutex() {
    if (isValid()) CloseHandle(handleIn(storage_));
}

bool SystemMutex::isValid() const noexcept { return handleIn(storage_) != nullptr; }

WaitResult SystemMutex::lock() {
    return static_cast<WaitResult>(WaitForSingleObject(handleIn(storage_), INFINITE));
}

WaitResult SystemMutex::tryLock() {
    return static_cast<WaitResult>(WaitForSingleObject(handleIn(storage_), 0));
}

bool SystemMutex::unlock() { return ReleaseMutex(handleIn(storage_)) != 0; }

struct Signal::Record {
    win32::Handle event{CreateEventW(nullptr, FALSE, FALSE, nullptr)};
};

Signal::Signal() : record_(std::make_unique<Record>()) {}

Signal::~Signal() = default;

bool Signal::isValid() const noexcept { return bool(record_->event); }

void Signal::give() { SetEvent(record_->event.get()); }

void Signal::wait(SystemMutex& mutex) {
    SignalObjectAndWait(handleIn(mutex.storage_), record_->event.get(), INFINITE, FALSE);
    mutex.lock();
}

}  // namespace os
