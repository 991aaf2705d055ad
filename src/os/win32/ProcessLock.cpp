#include "os/ProcessLock.h"

#include "base/SpinThenLock.h"
#include "os/win32/Windows.h"

#include <array>

extern "C" BOOLEAN NTAPI RtlDllShutdownInProgress();

namespace os {
namespace {

constinit std::array<SRWLOCK, static_cast<std::size_t>(LockRank::count)> mutexes{};

SRWLOCK* mutexOf(LockRank rank) noexcept { return &mutexes[static_cast<std::size_t>(rank)]; }

}  // namespace

// At the end of a process the only remaining thread does not lock, because the owner may have been killed.
void ProcessLock::lock() const noexcept {
    if (RtlDllShutdownInProgress()) return;
    SRWLOCK* const mutex = mutexOf(rank_);
    base::spinThenLock([=] { return TryAcquireSRWLockExclusive(mutex) != 0; },
                       [=] { AcquireSRWLockExclusive(mutex); });
}

bool ProcessLock::try_lock() const noexcept {
    return RtlDllShutdownInProgress() || TryAcquireSRWLockExclusive(mutexOf(rank_));
}

void ProcessLock::unlock() const noexcept {
    if (!RtlDllShutdownInProgress()) ReleaseSRWLockExclusive(mutexOf(rank_));
}

}  // namespace os
