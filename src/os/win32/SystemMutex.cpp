#include "os/SystemMutex.h"

#include "os/win32/Gate.h"

namespace os {

struct SystemMutex::Record {
    win32::Handle handle{CreateMutexW(nullptr, FALSE, nullptr)};
};

SystemMutex::SystemMutex() : record_(std::make_unique<Record>()) {}

SystemMutex::~SystemMutex() = default;

bool SystemMutex::isValid() const noexcept { return bool(record_->handle); }

WaitResult SystemMutex::lock() {
    return static_cast<WaitResult>(WaitForSingleObject(record_->handle.get(), INFINITE));
}

WaitResult SystemMutex::tryLock() {
    return static_cast<WaitResult>(WaitForSingleObject(record_->handle.get(), 0));
}

bool SystemMutex::unlock() { return ReleaseMutex(record_->handle.get()) != 0; }

struct Signal::Record {
    win32::Handle event{CreateEventW(nullptr, FALSE, FALSE, nullptr)};
};

Signal::Signal() : record_(std::make_unique<Record>()) {}

Signal::~Signal() = default;

bool Signal::isValid() const noexcept { return bool(record_->event); }

void Signal::give() { SetEvent(record_->event.get()); }

void Signal::wait(SystemMutex& mutex) {
    SignalObjectAndWait(mutex.record_->handle.get(), record_->event.get(), INFINITE, FALSE);
    mutex.lock();
}

}  // namespace os
