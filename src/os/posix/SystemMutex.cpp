#include "os/SystemMutex.h"

#include "os/posix/RecursiveLock.h"

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <mutex>

namespace os {

namespace {

using Lock = posix::RecoverableLock;

WaitResult resultOf(Lock::Result result) {
    if (result == Lock::Result::taken) return kAcquired;
    return result == Lock::Result::busy ? kBusy : kAcquiredFromDeadOwner;
}

}  // namespace

struct SystemMutex::Record final : Lock {};

SystemMutex::SystemMutex() : record_(std::make_unique<Record>()) {}

SystemMutex::~SystemMutex() { Lock::destroy(record_.release()); }

bool SystemMutex::isValid() const noexcept { return true; }

WaitResult SystemMutex::lock() { return resultOf(record_->lock()); }

WaitResult SystemMutex::tryLock() { return resultOf(record_->tryLock()); }

bool SystemMutex::unlock() { return record_->unlock(); }

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
