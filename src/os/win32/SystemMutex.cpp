#include "os/SystemMutex.h"

#include "base/ObjectIn.h"
#include "os/win32/Windows.h"

#include <memory>
#include <new>

namespace os {

SystemMutex::SystemMutex() noexcept {
    new (storage_) win32::Handle(CreateMutexW(nullptr, FALSE, nullptr));
    isValid_ = win32::handleIn(storage_) != nullptr;
}

SystemMutex::~SystemMutex() { std::destroy_at(base::objectIn<win32::Handle>(storage_)); }

WaitResult SystemMutex::lock() noexcept {
    return static_cast<WaitResult>(WaitForSingleObject(win32::handleIn(storage_), INFINITE));
}

WaitResult SystemMutex::tryLock() noexcept {
    return static_cast<WaitResult>(WaitForSingleObject(win32::handleIn(storage_), 0));
}

bool SystemMutex::unlock() noexcept { return ReleaseMutex(win32::handleIn(storage_)) != 0; }

bool SystemMutex::retire() noexcept { return true; }

struct Signal::Record {
    win32::Handle event{CreateEventW(nullptr, FALSE, FALSE, nullptr)};
};

Signal::Signal() noexcept : record_(new (std::nothrow) Record) {}

Signal::~Signal() { delete record_; }

bool Signal::isValid() const noexcept { return record_ && record_->event; }

void Signal::give() noexcept { SetEvent(record_->event.get()); }

void Signal::wait(SystemMutex& mutex) {
    SignalObjectAndWait(win32::handleIn(mutex.storage_), record_->event.get(), INFINITE, FALSE);
    mutex.lock();
}

}  // namespace os
