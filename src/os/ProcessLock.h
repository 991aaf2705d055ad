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
/// `fork` waits for all of them, so a forked child finds them free and what they guard whole. When Windows
/// ends a process, it ends all other threads first: from then on nobody waits, whoever held the lock.
/// No callback of a user's, and no call that may fork, runs while one is held.
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
