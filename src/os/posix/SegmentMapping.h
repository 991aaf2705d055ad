#pragma once

#include "base/ObjectIn.h"
#include "os/posix/SegmentFile.h"

#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <memory>

namespace os::posix {

/// Mapped memory, unmapped by the destructor: that of a file, or private to the process.
class View {
public:
    View() = default;
    View(int file, std::size_t size) noexcept;
    View(View&& other) noexcept;
    View& operator=(View&& other) noexcept;
    ~View();

    explicit operator bool() const noexcept { return begin_ != nullptr; }
    char* begin() const noexcept { return begin_; }

private:
    std::size_t size_ = 0;
    char* begin_ = nullptr;
};

/// How many times one object locked the mutex, and during which acquisition.
struct SegmentLocks {
    std::uint64_t acquisition = 0;
    unsigned int count = 0;
};

/// A segment mapped into this process. All objects that open the segment share one mapping, because a
/// thread's list of robust locks points into the mapping through which the thread locked first. The first
/// page holds the mutex.
class SegmentMapping {
public:
    static constexpr std::size_t kMutexPage = 4096;

    /// Unmaps after the last user. If a thread of this process still holds the mutex, its list points here;
    /// the mapping then stays and is used again when the segment is opened again.
    struct Release {
        void operator()(SegmentMapping* mapping) const noexcept;
    };
    using Pointer = std::unique_ptr<SegmentMapping, Release>;

    /// Finds or creates the mapping; null if the file cannot be mapped. Precondition: inside the file's gate.
    static Pointer of(const SegmentFile& file) noexcept;

    /// Call after leaving the gate.
    void leaveGate() noexcept;
    /// Initializes the mutex of a new segment: recursive, robust and shared between processes. Precondition:
    /// inside the gate.
    bool makeMutex() noexcept;
    char* data() const noexcept { return view_.begin() + kMutexPage; }

    /// Also acquires the mutex if its owner died.
    void lock(SegmentLocks& locks) noexcept;
    /// Does nothing unless the calling thread holds the mutex.
    void unlock(SegmentLocks& locks) noexcept;
    /// Releases the locks in `locks` that the calling thread took.
    void unlockAll(SegmentLocks& locks) noexcept;

private:
    struct Table;

    static constexpr auto kRelaxed = std::memory_order_relaxed;

    pthread_mutex_t* mutex() const noexcept { return base::objectIn<pthread_mutex_t>(view_.begin()); }
    bool isOwner() const noexcept { return owner_.load(kRelaxed) == __builtin_thread_pointer(); }
    bool isNeeded() noexcept;

    View view_;
    struct stat file_ {};
    int users_ = 0;
    bool isInsideGate_ = false;
    SegmentMapping* next_ = nullptr;
    // Guarded by the mutex. Other threads only compare `owner_` with themselves.
    std::atomic<void*> owner_ = nullptr;
    unsigned int reentries_ = 0;
    std::uint64_t acquisition_ = 0;
};

inline void SegmentMapping::lock(SegmentLocks& locks) noexcept {
    const int result = pthread_mutex_lock(mutex());
    if (result == EOWNERDEAD) pthread_mutex_consistent(mutex());
    if (result != 0 && result != EOWNERDEAD) return;
    if (result == EOWNERDEAD || !isOwner()) {
        owner_.store(__builtin_thread_pointer(), kRelaxed);
        reentries_ = 0;
        locks = {++acquisition_, 1};
        return;
    }
    ++reentries_;
    if (locks.acquisition != acquisition_) locks = {acquisition_, 0};
    ++locks.count;
}

// The last unlock does not reset `locks.count`, which is valid for this acquisition only.
inline void SegmentMapping::unlock(SegmentLocks& locks) noexcept {
    if (!isOwner()) return;
    if (reentries_ == 0) {
        owner_.store(nullptr, kRelaxed);
    } else {
        --reentries_;
        if (locks.acquisition == acquisition_ && locks.count != 0) --locks.count;
    }
    pthread_mutex_unlock(mutex());
}

}  // namespace os::posix
