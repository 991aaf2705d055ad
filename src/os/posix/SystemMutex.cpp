#include "os/SystemMutex.h"

#include "os/posix/PosixSupport.h"

#include <atomic>
#include <new>
#include <utility>

namespace os {
namespace {

/// The mutexes that are never freed; listed here so that leak checkers do not report them.
constinit std::atomic<SystemMutex*> retiredWhileLocked{nullptr};

}  // namespace

SystemMutex::SystemMutex() noexcept {
    static_assert(sizeof(pthread_mutex_t) <= sizeof storage_);
    isValid_ = posix::makeRobustMutex(storage_, posix::Sharing::process);
}

SystemMutex::~SystemMutex() { pthread_mutex_destroy(posix::mutexIn(storage_)); }

// A locked robust mutex is in a list of its thread, which the system walks when the thread ends. Only glibc's
// record shows how often the calling thread has locked it: unlocking until that fails would be reported by
// lock checkers.
bool SystemMutex::retire() noexcept {
    if (tryLock() == kBusy) {
        next_ = retiredWhileLocked.exchange(this);
        return false;
    }
    for (unsigned depth = posix::mutexIn(storage_)->__data.__count; depth != 0; --depth) unlock();
    return true;
}

// An event that releases one thread: a flag would merge two quick signals and let a late waiter take an
// earlier one's, so each waiter has its own flag, on its stack, and waits in a queue. `lock` guards
// everything. The record is freed by its last user: the signal's owner or a waiter, including waiters that
// are released but have not noticed it yet.
struct Signal::Record {
    struct Waiter {
        pthread_cond_t released = PTHREAD_COND_INITIALIZER;
        bool isReleased = false;
        Waiter* next = nullptr;
    };

    /// A thread's place in the queue. Leaving it early, when the thread is cancelled, loses no signal.
    class Place {
    public:
        explicit Place(Record& record) noexcept : record_(record) {
            *record_.end = &waiter_;
            record_.end = &waiter_.next;
        }
        Place(const Place&) = delete;
        Place& operator=(const Place&) = delete;
        ~Place() {
            if (!waiter_.isReleased)
                record_.remove(waiter_);
            else if (!isDone_)
                record_.release();
            pthread_cond_destroy(&waiter_.released);
        }

        void wait() {
            while (!waiter_.isReleased) pthread_cond_wait(&waiter_.released, &record_.lock);
            isDone_ = true;
        }

    private:
        Record& record_;
        Waiter waiter_;
        bool isDone_ = false;
    };

    /// Holds `lock` and keeps the record for a scope.
    class Use {
    public:
        explicit Use(Record& record) noexcept : record_(record) {
            pthread_mutex_lock(&record_.lock);
            ++record_.users;
        }
        Use(const Use&) = delete;
        Use& operator=(const Use&) = delete;
        ~Use() { record_.leave(); }

    private:
        Record& record_;
    };

    Record() = default;
    Record(const Record&) = delete;
    Record& operator=(const Record&) = delete;
    ~Record() { pthread_mutex_destroy(&lock); }

    void leave() noexcept {
        const bool isLast = --users == 0;
        pthread_mutex_unlock(&lock);
        if (isLast) delete this;
    }

    void release() noexcept {
        Waiter* const waiter = first;
        if (!waiter) {
            isRemembered = true;
            return;
        }
        remove(*waiter);
        waiter->isReleased = true;
        pthread_cond_signal(&waiter->released);
    }

    void remove(Waiter& waiter) noexcept {
        Waiter** place = &first;
        while (*place != &waiter) place = &(*place)->next;
        *place = waiter.next;
        if (end == &waiter.next) end = place;
    }

    pthread_mutex_t lock = PTHREAD_MUTEX_INITIALIZER;
    Waiter* first = nullptr;
    Waiter** end = &first;
    int users = 1;
    bool isRemembered = false;
};

Signal::Signal() noexcept : record_(new (std::nothrow) Record) {}

Signal::~Signal() {
    if (!record_) return;
    pthread_mutex_lock(&record_->lock);
    record_->leave();
}

bool Signal::isValid() const noexcept { return record_ != nullptr; }

void Signal::give() noexcept {
    const Record::Use use(*record_);
    record_->release();
}

void Signal::wait(SystemMutex& mutex) {
    struct Relock {
        ~Relock() { mutex.lock(); }
        SystemMutex& mutex;
    };
    const Relock relock{mutex};
    const Record::Use use(*record_);
    if (!mutex.unlock() || std::exchange(record_->isRemembered, false)) return;
    Record::Place(*record_).wait();
}

}  // namespace os
