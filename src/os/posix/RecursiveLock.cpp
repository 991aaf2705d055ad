#include "os/posix/RecursiveLock.h"

#include "os/SpinThenLock.h"

#include <linux/futex.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace os::posix {
namespace {

pthread_key_t endOfThread;

// A key's destructor runs after those of thread-local objects. Another key's may lock after it: set again, it
// runs once more, as often as the system allows.
void atEndOfThread(void* value) {
    RecoverableLock::giveUpAll();
    pthread_setspecific(endOfThread, value);
}

}  // namespace

thread_local constinit std::uint64_t currentThread = 0;
thread_local constinit RecoverableLock* RecoverableLock::held = nullptr;

std::uint64_t numberCurrentThread() noexcept {
    static std::atomic<std::uint64_t> last{0};
    [[maybe_unused]] static const int made = pthread_key_create(&endOfThread, atEndOfThread);
    currentThread = ++last;
    pthread_setspecific(endOfThread, &currentThread);
    return currentThread;
}

RecursiveLock::Result RecursiveLock::waitAndLock() noexcept {
    spinAndLock(
        [this] { return word_.load(std::memory_order_relaxed) == kFree && tryLock() == Result::taken; },
        [this] {
            while (word_.exchange(kWaitedFor, std::memory_order_acquire) != kFree)
                syscall(SYS_futex, &word_, FUTEX_WAIT_PRIVATE, kWaitedFor, nullptr);
            own(self());
        });
    return Result::taken;
}

void RecursiveLock::wakeOne() noexcept { syscall(SYS_futex, &word_, FUTEX_WAKE_PRIVATE, 1); }

void RecoverableLock::destroy(RecoverableLock* lock) noexcept {
    if (lock->lock_.isLocked() && !lock->lock_.isMine()) {
        lock->isOrphan_ = true;
        return;
    }
    if (lock->lock_.isLocked()) lock->unlink();
    delete lock;
}

void RecoverableLock::giveUpAll() noexcept {
    while (RecoverableLock* const lock = held) {
        held = lock->next_;
        if (lock->isOrphan_) {
            delete lock;
        } else {
            lock->isAbandoned_ = true;
            lock->lock_.release();
        }
    }
}

}  // namespace os::posix
