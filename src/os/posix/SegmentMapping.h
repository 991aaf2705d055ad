#pragma once

#include "base/ObjectIn.h"
#include "os/posix/SegmentFile.h"

#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <memory>

namespace os::posix {

/// Memory that is mapped as long as this lives: of a file, or of the process alone.
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

/// What one object locked: how many times, and in which acquisition of the mutex.
struct SegmentLocks {
    std::uint64_t acquisition = 0;
    unsigned int count = 0;
};

/// A segment as this process maps it: once for all objects that have it open, because a thread's list of
/// robust locks points into the mapping by which the thread locked first. It begins with a page of the mutex.
class SegmentMapping {
public:
    static constexpr std::size_t kMutexPage = 4096;

    /// Unmaps after the last user, unless a thread of this process still has the mutex: then its list points
    /// here, and the mapping stays for who opens the segment again.
    struct Release {
        void operator()(SegmentMapping* mapping) const noexcept;
    };
    using Pointer = std::unique_ptr<SegmentMapping, Release>;

    /// Inside the file's gate. Null when there is no room to map it.
    static Pointer of(const SegmentFile& file) noexcept;

    /// After the gate was opened.
    void leaveGate() noexcept;
    /// For a new segment, inside the gate. Re-entrant, and it notices its owner's death in any process.
    bool makeMutex() noexcept;
    char* data() const noexcept { return view_.begin() + kMutexPage; }

    /// Also from an owner that died.
    void lock(SegmentLocks& locks) noexcept;
    /// Does nothing unless the calling thread has the mutex.
    void unlock(SegmentLocks& locks) noexcept;
    /// Gives up what the calling thread locked with these.
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
    // Guarded by the mutex. A thread that is not the owner only compares the first with itself.
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

// The last unlocking leaves the count of the object, which counts for this acquisition only.
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
