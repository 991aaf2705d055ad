#pragma once

namespace os {

/// The results of waiting for a mutex; the numbers are part of the public interface.
enum WaitResult : int { kWaitFailed = -1, kAcquired = 0, kAcquiredFromDeadOwner = 128, kBusy = 258 };

/// A recursive mutex that can still be acquired if its owner has ended without releasing it.
class SystemMutex {
public:
    SystemMutex() noexcept;
    SystemMutex(const SystemMutex&) = delete;
    SystemMutex& operator=(const SystemMutex&) = delete;
    ~SystemMutex();

    /// True if the system could create it.
    bool isValid() const noexcept { return isValid_; }
    WaitResult lock() noexcept;
    WaitResult tryLock() noexcept;
    /// False if the calling thread is not the owner.
    bool unlock() noexcept;

    /// Call it before freeing the memory. Returns false if the memory must stay forever, because a thread
    /// holds the mutex and the system still refers to it.
    bool retire() noexcept;

private:
    friend class Signal;

    alignas(8) unsigned char storage_[40];  ///< the system's own object
    bool isValid_ = false;
    [[maybe_unused]] SystemMutex* next_ = nullptr;  ///< on POSIX systems, of those retired while locked
};

/// Wakes one waiting thread at a time, and remembers one signal if no thread waits. May be destroyed
/// while threads that were woken have not yet returned from `wait`.
class Signal {
public:
    Signal() noexcept;
    Signal(const Signal&) = delete;
    Signal& operator=(const Signal&) = delete;
    ~Signal();

    bool isValid() const noexcept;
    void give() noexcept;
    /// Atomically releases the mutex and waits, then acquires the mutex, even if the thread is cancelled. If
    /// the calling thread is not the owner, only acquires it.
    void wait(SystemMutex& mutex);

private:
    struct Record;
    Record* record_;
};

}  // namespace os

#ifndef _WIN32
#include "os/posix/SystemMutex.h"
#endif
