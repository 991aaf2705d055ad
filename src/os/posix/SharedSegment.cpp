// A segment is a file in memory. The system has no object that goes with its last holder, however that ends,
// so each holder keeps a shared lock on the file, which the system takes from it when it dies: a file that
// can be locked exclusively belongs to nobody alive. It goes with the last orderly close, and what a killed
// holder leaves goes with the next one.

#include "os/SharedSegment.h"

#include "os/posix/SegmentFile.h"

#include <pthread.h>
#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <new>
#include <utility>

namespace os {
namespace {

using posix::SegmentFile;

// The mutex has a page of its own in front of the data.
constexpr std::size_t kPage = 4096;
constexpr std::size_t kLargestSize = std::size_t{1} << 46U;

std::size_t inWholePages(std::size_t size) { return (size + kPage - 1) / kPage * kPage; }

class View {
public:
    View() = default;
    View(int file, std::size_t size)
        : size_(size),
          begin_(mmap(nullptr, size, PROT_READ | PROT_WRITE,
                      file < 0 ? MAP_PRIVATE | MAP_ANONYMOUS : MAP_SHARED, file, 0)) {}
    View(View&& other) noexcept
        : size_(std::exchange(other.size_, 0)), begin_(std::exchange(other.begin_, MAP_FAILED)) {}
    View& operator=(View&& other) noexcept {
        std::swap(size_, other.size_);
        std::swap(begin_, other.begin_);
        return *this;
    }
    ~View() {
        if (*this) munmap(begin_, size_);
    }

    explicit operator bool() const noexcept { return begin_ != MAP_FAILED; }
    char* begin() const noexcept { return static_cast<char*>(begin_); }

private:
    std::size_t size_ = 0;
    void* begin_ = MAP_FAILED;
};

// Re-entrant, and it notices its owner's death in any process that maps it.
void makeSharedMutex(pthread_mutex_t* mutex) {
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST);
    pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED);
    pthread_mutex_init(mutex, &attributes);
    pthread_mutexattr_destroy(&attributes);
}

}  // namespace

struct SharedSegment::Record {
    explicit Record(const std::string& name) : file(name), isNamed(!name.empty()) {}
    Record(const Record&) = delete;
    Record& operator=(const Record&) = delete;
    ~Record();

    SegmentFailure open(std::size_t size);
    SegmentFailure take(std::size_t size);

    pthread_mutex_t* mutex() const {
        return std::launder(reinterpret_cast<pthread_mutex_t*>(shared.begin()));
    }
    char* data() const { return isNamed ? shared.begin() + kPage : own.begin(); }

    SegmentFile file;
    bool isNamed;
    pid_t owner = getpid();
    View shared;
    View own;
    std::atomic<bool> wasLocked{false};
};

SegmentFailure SharedSegment::Record::take(std::size_t size) {
    if (!file.hold(kPage + (isNamed ? inWholePages(size) : 0))) return SegmentFailure::Memory;
    shared = View(file.descriptor(), file.size());
    if (!isNamed) own = View(-1, inWholePages(size));
    if (!shared || !(isNamed || own)) return SegmentFailure::View;
    if (file.isNew()) makeSharedMutex(new (shared.begin()) pthread_mutex_t);
    return isNamed && file.size() - kPage < size ? SegmentFailure::Size : SegmentFailure::None;
}

SegmentFailure SharedSegment::Record::open(std::size_t size) {
    if (!file.enter()) return SegmentFailure::Mutex;
    const SegmentFailure failure = take(size);
    file.leave();
    return failure;
}

// The system keeps a list of the robust locks that a thread holds, so none may be in memory that goes. A
// forked process shares its parent's hold and leaves the file to it.
SharedSegment::Record::~Record() {
    if (owner != getpid()) return;
    while (wasLocked && pthread_mutex_unlock(mutex()) == 0) {  // until the calling thread has it no more
    }
    file.release();
}

SharedSegment::SharedSegment() = default;

SharedSegment::~SharedSegment() = default;

SegmentFailure SharedSegment::open(const std::string& name, std::size_t size) {
    if (size == 0 || size > kLargestSize) return SegmentFailure::Memory;
    record_ = std::make_unique<Record>(name);
    const SegmentFailure failure = record_->open(size);
    if (failure != SegmentFailure::None) close();
    return failure;
}

void SharedSegment::close() { record_.reset(); }

void* SharedSegment::data() const noexcept { return record_ ? record_->data() : nullptr; }

void SharedSegment::lock() {
    if (!record_) return;
    if (pthread_mutex_lock(record_->mutex()) == EOWNERDEAD) pthread_mutex_consistent(record_->mutex());
    record_->wasLocked.store(true, std::memory_order_relaxed);
}

void SharedSegment::unlock() {
    if (record_) pthread_mutex_unlock(record_->mutex());
}

}  // namespace os
