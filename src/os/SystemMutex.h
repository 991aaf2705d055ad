#pragma once

#include <memory>

namespace os {

/// What waiting for a mutex gives, as numbers that reach the user.
enum WaitResult : int { kWaitFailed = -1, kAcquired = 0, kAcquiredFromDeadOwner = 128, kBusy = 258 };

/// A re-entrant mutex that is acquired also when its owner has ended without releasing it.
class SystemMutex {
public:
    SystemMutex();
    SystemMutex(const SystemMutex&) = delete;
    SystemMutex& operator=(const SystemMutex&) = delete;
    ~SystemMutex();

    /// Whether the system had one to give.
    bool isValid() const noexcept;
    WaitResult lock();
    WaitResult tryLock();
    /// False when the calling thread is not the owner.
    bool unlock();

private:
    friend class Signal;
    struct Record;
    std::unique_ptr<Record> record_;
};

/// Wakes one waiting thread at a time, and remembers one signal that nobody waits for.
class Signal {
public:
    Signal();
    Signal(const Signal&) = delete;
    Signal& operator=(const Signal&) = delete;
    ~Signal();

    bool isValid() const noexcept;
    void give();
    /// Releases the mutex and waits, in one step, then acquires the mutex. Only acquires it when the calling
    /// thread is not its owner.
    void wait(SystemMutex& mutex);

private:
    struct Record;
    std::unique_ptr<Record> record_;
};

}  // namespace os
