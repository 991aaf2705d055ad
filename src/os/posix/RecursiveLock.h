#pragma once

#include <atomic>
#include <cstdint>

namespace os::posix {

/// The calling thread's number in this process: never 0, never given twice, the same after a fork.
extern thread_local constinit std::uint64_t currentThread [[gnu::tls_model("initial-exec")]];

/// Gives the calling thread its number, at its first lock.
std::uint64_t numberCurrentThread() noexcept;

/// A re-entrant mutex within the process, that stays locked when its owner ends. An atomic word says whether
/// it is free, taken, or taken and waited for, and those who wait sleep in the kernel (U. Drepper, "Futexes
/// Are Tricky", the second mutex); the owner's number and its depth stand beside it.
class RecursiveLock {
public:
    /// What became of a try to lock it.
    enum class Result { busy, taken, takenAgain };

    bool isMine() const noexcept { return owner_.load(std::memory_order_relaxed) == self(); }

    /// Whether any thread has it.
    bool isLocked() const noexcept { return owner_.load(std::memory_order_relaxed) != 0; }

    Result lock() noexcept {
        const Result result = tryLock();
        return result == Result::busy ? waitAndLock() : result;
    }

    Result tryLock() noexcept {
        const std::uint64_t thread = self();
        if (owner_.load(std::memory_order_relaxed) == thread) {
            ++depth_;
            return Result::takenAgain;
        }
        std::uint32_t expected = kFree;
        if (!word_.compare_exchange_strong(expected, kTaken, std::memory_order_acquire,
                                           std::memory_order_relaxed))
            return Result::busy;
        own(thread);
        return Result::taken;
    }

    /// False when the calling thread is not the owner. `atLast` runs when this frees the lock, just before.
    template <typename AtLast>
    bool unlock(AtLast atLast) noexcept {
        if (!isMine()) return false;
        if (depth_ > 1) {
            --depth_;
        } else {
            atLast();
            release();
        }
        return true;
    }

    /// Frees it however often the calling thread, its owner, has locked it.
    void release() noexcept {
        owner_.store(0, std::memory_order_relaxed);
        if (word_.exchange(kFree, std::memory_order_release) == kWaitedFor) wakeOne();
    }

private:
    static constexpr std::uint32_t kFree = 0;
    static constexpr std::uint32_t kTaken = 1;
    static constexpr std::uint32_t kWaitedFor = 2;

    static std::uint64_t self() noexcept {
        const std::uint64_t thread = currentThread;
        return thread != 0 ? thread : numberCurrentThread();
    }

    void own(std::uint64_t thread) noexcept {
        owner_.store(thread, std::memory_order_relaxed);
        depth_ = 1;
    }

    Result waitAndLock() noexcept;
    void wakeOne() noexcept;

    std::atomic<std::uint32_t> word_{kFree};
    unsigned depth_ = 0;
    std::atomic<std::uint64_t> owner_{0};
};

/// One that is given up when its owner ends. Made by `new`, freed by `destroy`.
class RecoverableLock {
public:
    enum class Result { busy, taken, takenFromDeadOwner };

    RecoverableLock() = default;
    RecoverableLock(const RecoverableLock&) = delete;
    RecoverableLock& operator=(const RecoverableLock&) = delete;
    virtual ~RecoverableLock() = default;

    Result lock() noexcept { return entered(lock_.lock()); }
    Result tryLock() noexcept { return entered(lock_.tryLock()); }
    bool unlock() noexcept {
        return lock_.unlock([this] { unlink(); });
    }

    /// When another thread has it locked, the object stays until that thread ends.
    static void destroy(RecoverableLock* lock) noexcept;

    /// Gives up all that the calling thread has locked.
    static void giveUpAll() noexcept;

private:
    Result entered(RecursiveLock::Result result) noexcept {
        if (result != RecursiveLock::Result::taken)
            return result == RecursiveLock::Result::busy ? Result::busy : Result::taken;
        next_ = held;
        held = this;
        if (!isAbandoned_) return Result::taken;
        isAbandoned_ = false;
        return Result::takenFromDeadOwner;
    }

    // Locks are mostly freed in the opposite order.
    void unlink() noexcept {
        RecoverableLock** place = &held;
        while (*place != this) place = &(*place)->next_;
        *place = next_;
    }

    /// Those that the calling thread has locked, the latest first.
    static thread_local constinit RecoverableLock* held [[gnu::tls_model("initial-exec")]];

    RecursiveLock lock_;
    RecoverableLock* next_ = nullptr;
    bool isAbandoned_ = false;
    std::atomic<bool> isOrphan_{false};  ///< destroyed by another thread than its owner
};

}  // namespace os::posix
