#pragma once

namespace os {

/// What waiting for a mutex gives, as numbers that reach the user.
enum WaitResult : int { kWaitFailed = -1, kAcquired = 0, kAcquiredFromDeadOwner = 128, kBusy = 258 };

/// A recursive mutex that can still be acquired if its owner has ended without releasing it.
class SystemMutex {
public:
    SystemMutex() noexcept;
    SystemMutex(const SystemMutex&) = delete;
    SystemMutex& operator=(const SystemMutex&) = delete;
    ~SystemMutex();

    /// Whether the system could create it.
    bool isValid() const noexcept { return isValid_; }
    WaitResult lock() noexcept;
    WaitResult tryLock() noexcept;
    /// False if the calling thread is not the owner.
    bool unlock() noexcept;

    /// To be called before the memory is freed. False if the memory must stay forever, because a thread holds
    /// the mutex and the system still refers to it.
    bool retire() noexcept;

private:
    friend class Signal;

    alignas(8) unsigned char storage_[40];  ///< the system's own object
    bool isValid_ = false;
    SystemMutex* next_ = nullptr;
};

/// Wakes one waiting thread at a time, and remembers one signal if no thread waits. May be destroyed
/// while threads that were woken are still on their way out of `wait`.
class Signal {
public:
    Signal() noexcept;
    Signal(const Signal&) = delete;
    Signal& operator=(const Signal&) = delete;
    ~Signal();

    bool isValid() const noexcept;
    void give() noexcept;
    /// Releases the mutex and waits, in one step, then acquires the mutex, also when the thread is cancelled.
    /// Only acquires it when the calling thread is not its owner.
    void wait(SystemMutex& mutex);

private:
    struct Record;
    Record* record_;
};

}  // namespace os

#ifndef _WIN32
#include "os/posix/SystemMutex.h"
#endif
