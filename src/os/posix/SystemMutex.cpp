#include "os/SystemMutex.h"

#include <pthread.h>

#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <new>

namespace os {
namespace {

pthread_mutex_t* mutexIn(unsigned char* storage) {
    return std::launder(static_cast<pthread_mutex_t*>(static_cast<void*>(storage)));
}

WaitResult resultOf(int error, pthread_mutex_t* mutex) {
    switch (error) {
        case 0:
            return kAcquired;
        case EBUSY:
            return kBusy;
        case EOWNERDEAD:
            pthread_mutex_consistent(mutex);
            return kAcquiredFromDeadOwner;
        default:
            return kWaitFailed;
    }
}

}  // namespace

SystemMutex::SystemMutex() {
    static_assert(sizeof(pthread_mutex_t) <= sizeof storage_);
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST);
    pthread_mutex_init(new (storage_) pthread_mutex_t, &attributes);
    pthread_mutexattr_destroy(&attributes);
}

SystemMutex::~SystemMutex() { pthread_mutex_destroy(mutexIn(storage_)); }

bool SystemMutex::isValid() const noexcept { return true; }

WaitResult SystemMutex::lock() {
    pthread_mutex_t* const mutex = mutexIn(storage_);
    return resultOf(pthread_mutex_lock(mutex), mutex);
}

WaitResult SystemMutex::tryLock() {
    pthread_mutex_t* const mutex = mutexIn(storage_);
    return resultOf(pthread_mutex_trylock(mutex), mutex);
}

bool SystemMutex::unlock() { return pthread_mutex_unlock(mutexIn(storage_)) == 0; }

// A flag would merge two quick signals and let a late waiter take an earlier one's, so each waiter has its
// own, and they stand in a queue.
struct Signal::Record {
    struct Waiter {
        std::condition_variable released;
        bool isReleased = false;
    };

    // Also when the waiting thread is cancelled.
    class Place {
    public:
        Place(std::deque<Waiter*>& queue, Waiter& waiter) : queue_(queue), waiter_(&waiter) {
            queue_.push_back(waiter_);
        }
        Place(const Place&) = delete;
        Place& operator=(const Place&) = delete;
        ~Place() { queue_.erase(std::remove(queue_.begin(), queue_.end(), waiter_), queue_.end()); }

    private:
        std::deque<Waiter*>& queue_;
        Waiter* waiter_;
    };

    void waitForTurn(std::unique_lock<std::mutex>& guard) {
        if (isRemembered) {
            isRemembered = false;
            return;
        }
        Waiter waiter;
        const Place place(queue, waiter);
        waiter.released.wait(guard, [&] { return waiter.isReleased; });
    }

    std::mutex lock;
    std::deque<Waiter*> queue;
    bool isRemembered = false;
};

Signal::Signal() : record_(std::make_unique<Record>()) {}

Signal::~Signal() = default;

bool Signal::isValid() const noexcept { return true; }

void Signal::give() {
    const std::lock_guard guard(record_->lock);
    const auto next = std::find_if(record_->queue.begin(), record_->queue.end(),
                                   [](const Record::Waiter* waiter) { return !waiter->isReleased; });
    if (next == record_->queue.end()) {
        record_->isRemembered = true;
        return;
    }
    (*next)->isReleased = true;
    (*next)->released.notify_one();
}

void Signal::wait(SystemMutex& mutex) {
    {
        std::unique_lock guard(record_->lock);
        if (mutex.unlock()) record_->waitForTurn(guard);
    }
    mutex.lock();
}

}  // namespace os
