// One mutex for each rank. `fork` locks all of them in the order of the ranks, and the parent and the child
// unlock them in reverse order. A thread that takes several must take them in the order of the ranks, too, or
// it can deadlock with another thread or with `fork`; nothing here checks that. The thread that forks must
// hold none.

#include "os/ProcessLock.h"

#include "base/SpinThenLock.h"

#include <pthread.h>

#include <array>
#include <mutex>

namespace os {
namespace {

// Constant-initialized and trivially destroyed, so they work before and after `main`.
constinit std::array<std::mutex, static_cast<std::size_t>(LockRank::count)> mutexes;

std::mutex& mutexOf(LockRank rank) noexcept { return mutexes[static_cast<std::size_t>(rank)]; }

void lockAll() {
    for (std::mutex& mutex : mutexes) mutex.lock();
}

void unlockAll() {
    for (auto mutex = mutexes.rbegin(); mutex != mutexes.rend(); ++mutex) mutex->unlock();
}

[[maybe_unused]] const int forkHandlers = pthread_atfork(lockAll, unlockAll, unlockAll);

}  // namespace

void ProcessLock::lock() const noexcept {
    std::mutex& mutex = mutexOf(rank_);
    base::spinThenLock([&] { return mutex.try_lock(); }, [&] { mutex.lock(); });
}

bool ProcessLock::try_lock() const noexcept { return mutexOf(rank_).try_lock(); }

void ProcessLock::unlock() const noexcept { mutexOf(rank_).unlock(); }

}  // namespace os
