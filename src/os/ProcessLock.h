#pragma once

#include <cstddef>

namespace os {

/// The locks of state that the whole process shares, in the order in which a thread takes several of them.
enum class LockRank : std::size_t {
    stackWalk,
    debugInfo,
    threadPool,
    children,
    segments,
    logFileName,
    logSink,
    refusedLibraries,
    environment,
    count
};

/// A non-recursive mutex of the process; spins briefly before it blocks. Works before and after `main`.
///
/// `fork` waits for all of them, so a forked child finds them unlocked and what they guard complete. When
/// Windows ends a process, it ends all other threads first: from then on nothing waits, even if an ended
/// thread held the lock. While one is held, no user callback and nothing that may fork is called.
class ProcessLock {
public:
    constexpr explicit ProcessLock(LockRank rank) noexcept : rank_(rank) {}

    void lock() const noexcept;
    bool try_lock() const noexcept;
    void unlock() const noexcept;

private:
    LockRank rank_;
};

}  // namespace os
