// One mapping for each segment and process, found by device and inode. Call order: `of` inside the gate of
// the file, `makeMutex` if the segment is new, `leaveGate` after the gate was left, then `lock` and `unlock`,
// and `unlockAll` before an object releases it. `kSegments` guards the table and the user counts; it is not
// held while a thread waits for a segment's mutex, and `Release` unmaps memory only after unlocking it.
//
// The mutex is robust: the kernel follows a thread's list of locked mutexes through the mapping when the
// thread dies. So if a thread of this process owns the mutex, a mapping without users stays, for the next
// object that opens the segment. Only the thread that owns the mutex writes `owner_`, except in a forked
// child, where no thread owns it.

#include "os/posix/SegmentMapping.h"

#include <sys/mman.h>

#include <mutex>
#include <new>
#include <utility>

namespace os::posix {
View::View(int file, std::size_t size) noexcept : size_(size) {
    const int kind = file < 0 ? MAP_PRIVATE | MAP_ANONYMOUS : MAP_SHARED;
    void* const begin = mmap(nullptr, size, PROT_READ | PROT_WRITE, kind, file, 0);
    if (begin != MAP_FAILED) begin_ = static_cast<char*>(begin);
}

View::View(View&& other) noexcept : size_(other.size_), begin_(std::exchange(other.begin_, nullptr)) {}

View& View::operator=(View&& other) noexcept {
    std::swap(size_, other.size_);
    std::swap(begin_, other.begin_);
    return *this;
}

View::~View() {
    if (begin_) munmap(begin_, size_);
}

// The mappings of this process. Never destroyed, because destructors of static objects may close segments.
struct SegmentMapping::Table {
    static SegmentMapping* find(const SegmentFile& file) noexcept {
        SegmentMapping* mapping = first;
        while (mapping && !file.isSameAs(mapping->file_)) mapping = mapping->next_;
        return mapping;
    }

    static void remove(SegmentMapping& mapping) noexcept {
        SegmentMapping** place = &first;
        while (*place != &mapping) place = &(*place)->next_;
        *place = mapping.next_;
    }

    // In a forked child no thread owns a mutex, though the thread pointer of the forking thread is the same.
    // A mapping keeps its open file, and so the gate, locked; so mappings inside a gate are unmapped.
    static void startForkedProcess() noexcept {
        for (SegmentMapping* mapping = first; mapping; mapping = mapping->next_) {
            mapping->owner_.store(nullptr, kRelaxed);
            if (!mapping->isInsideGate_) continue;
            remove(*mapping);
            mapping->view_ = View();
        }
    }

    static SegmentMapping* first;
    static const int forkHandler;
};

constinit SegmentMapping* SegmentMapping::Table::first = nullptr;

const int SegmentMapping::Table::forkHandler = pthread_atfork(nullptr, nullptr, startForkedProcess);

SegmentMapping::Pointer SegmentMapping::of(const SegmentFile& file) noexcept {
    const std::lock_guard guard(kSegments);
    SegmentMapping* mapping = Table::find(file);
    if (!mapping) {
        View view(file.descriptor(), file.size());
        mapping = view ? new (std::nothrow) SegmentMapping : nullptr;
        if (!mapping) return nullptr;
        mapping->view_ = std::move(view);
        mapping->file_ = file.status();
        mapping->next_ = std::exchange(Table::first, mapping);
    }
    mapping->isInsideGate_ = mapping->users_++ == 0;
    return Pointer(mapping);
}

void SegmentMapping::Release::operator()(SegmentMapping* mapping) const noexcept {
    std::unique_ptr<SegmentMapping> unused;  // unmapped after the lock is released
    const std::lock_guard guard(kSegments);
    if (--mapping->users_ != 0 || mapping->isNeeded()) return;
    Table::remove(*mapping);
    unused.reset(mapping);
}

void SegmentMapping::leaveGate() noexcept {
    const std::lock_guard guard(kSegments);
    isInsideGate_ = false;
}

bool SegmentMapping::makeMutex() noexcept { return makeRobustMutex(view_.begin(), Sharing::processes); }

// `owner_` may name a thread that died, so this tries the mutex itself. That also succeeds if the calling
// thread owns it, because it is re-entrant.
bool SegmentMapping::isNeeded() noexcept {
    if (!owner_.load(kRelaxed)) return false;
    const int result = pthread_mutex_trylock(mutex());
    if (result != 0 && result != EOWNERDEAD) return true;
    if (result == EOWNERDEAD) pthread_mutex_consistent(mutex());
    pthread_mutex_unlock(mutex());
    return result == 0 && isOwner();
}

void SegmentMapping::unlockAll(SegmentLocks& locks) noexcept {
    while (isOwner() && locks.acquisition == acquisition_ && locks.count != 0) unlock(locks);
}

}  // namespace os::posix
