// A segment is a file in memory. The system has no object that disappears with its last holder even if that
// is killed, so each holder keeps a shared lock on the file, which the system releases when the holder dies.
// A file that can be locked exclusively has no living holder. The last orderly close removes it; if the last
// holder was killed, the next open removes it and starts anew.
//
// `open` does everything inside the file's gate: take the hold and reserve the memory, map, initialize the
// mutex of a new segment, and leave the gate. On failure the memory is unmapped and the file released before
// the gate opens, so a failed open leaves nothing behind. `close` first releases the locks that the calling
// thread took through this object, then unmaps, then releases the file.

#include "os/SharedSegment.h"

#include "os/posix/SegmentMapping.h"

namespace os {
namespace {

using posix::SegmentMapping;
using posix::View;

constexpr std::size_t kPage = 4096;
constexpr std::size_t kLargestSize = std::size_t{1} << 46U;

std::size_t inWholePages(std::size_t size) { return (size + kPage - 1) / kPage * kPage; }

}  // namespace

struct SharedSegment::Record {
    explicit Record(const std::string& name) : file(name), isNamed(!name.empty()) {}
    Record(const Record&) = delete;
    Record& operator=(const Record&) = delete;
    ~Record() {
        if (mapping) mapping->unlockAll(locks);
    }

    SegmentFailure open(std::size_t size) noexcept;
    SegmentFailure take(std::size_t size) noexcept;

    char* data() const noexcept { return isNamed ? mapping->data() : own.begin(); }

    posix::SegmentFile file;  // destroyed last: its memory is unmapped before its gate opens
    bool isNamed;
    SegmentMapping::Pointer mapping;
    View own;
    posix::SegmentLocks locks;
};

SegmentFailure SharedSegment::Record::take(std::size_t size) noexcept {
    const std::size_t shared = isNamed ? inWholePages(size) : 0;
    if (!file.hold(SegmentMapping::kMutexPage + shared)) return SegmentFailure::memory;
    if (file.size() < SegmentMapping::kMutexPage + shared) return SegmentFailure::size;
    mapping = SegmentMapping::of(file);
    if (!isNamed) own = View(-1, inWholePages(size));
    if (!mapping || !(isNamed || own)) return SegmentFailure::view;
    return file.isNew() && !mapping->makeMutex() ? SegmentFailure::mutex : SegmentFailure::none;
}

SegmentFailure SharedSegment::Record::open(std::size_t size) noexcept {
    if (!file.enter()) return file.isTaken() ? SegmentFailure::taken : SegmentFailure::mutex;
    SegmentFailure failure = take(size);
    if (failure == SegmentFailure::none && !file.leave()) failure = SegmentFailure::mutex;
    if (failure == SegmentFailure::none) {
        mapping->leaveGate();
    } else {
        mapping.reset();
        file.release();
    }
    return failure;
}

SharedSegment::SharedSegment() = default;

SharedSegment::~SharedSegment() = default;

SegmentFailure SharedSegment::open(const std::string& name, std::size_t size) {
    if (size == 0 || size > kLargestSize) return SegmentFailure::memory;
    auto record = std::make_unique<Record>(name);
    const SegmentFailure failure = record->open(size);
    if (failure == SegmentFailure::none) record_ = std::move(record);
    return failure;
}

void SharedSegment::close() noexcept { record_.reset(); }

void* SharedSegment::data() const noexcept { return record_ ? record_->data() : nullptr; }

void SharedSegment::lock() noexcept {
    if (record_) record_->mapping->lock(record_->locks);
}

void SharedSegment::unlock() noexcept {
    if (record_) record_->mapping->unlock(record_->locks);
}

}  // namespace os
