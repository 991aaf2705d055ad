#include <QvPlatform/threads/SharedMemory.h>

#include <QvPlatform/diagnostics/Log.h>

#include "diagnostics/log/LogQuietly.h"
#include "os/Cancellation.h"
#include "os/SharedSegment.h"

#include <new>
#include <utility>

namespace QvPlatform {
namespace {

const char* messageFor(os::SegmentFailure failure) {
    switch (failure) {
        case os::SegmentFailure::taken:
            return "SharedMemory::open - another user may have made the file that has the segment's name\n";
        case os::SegmentFailure::mutex:
            return "SharedMemory::open - failed to create named Mutex object";
        case os::SegmentFailure::memory:
            return "SharedMemory::open - failed to create shared memory file\n";
        case os::SegmentFailure::view:
            return "SharedMemory::open - failed to map shared memory memory segment\n";
        case os::SegmentFailure::size:
            return "SharedMemory::open - shared memory segment does not meet requested size\n";
        case os::SegmentFailure::none:
            break;
    }
    return "";
}

bool refuse(const char* message) {
    Qv::detail::logQuietly([=] { Qv::LogWarn("%s", message); });
    return false;
}

}  // namespace

struct SharedMemoryBase::Record {
    // A thread that is cancelled has either opened the segment and recorded it, or done nothing.
    os::SegmentFailure open(const std::string& newKey, std::size_t newSize) {
        const os::CancellationShield shield;
        try {
            std::string copy = newKey;
            const os::SegmentFailure failure = segment.open(copy, newSize);
            if (failure != os::SegmentFailure::none) return failure;
            key = std::move(copy);
            size = newSize;
            return failure;
        } catch (const std::bad_alloc&) {
            return os::SegmentFailure::memory;
        }
    }

    std::string key;
    std::uint64_t size = 0;
    os::SharedSegment segment;
};

SharedMemoryBase::SharedMemoryBase() : record_(std::make_unique<Record>()) {}

SharedMemoryBase::~SharedMemoryBase() { close(); }

bool SharedMemoryBase::open(const std::string& key, std::size_t size) {
    if (isOpen()) return refuse("SharedMemory::open: called while already open");
    const os::SegmentFailure failure = record_->open(key, size);
    if (failure != os::SegmentFailure::none) return refuse(messageFor(failure));
    Qv::detail::logQuietly([&] {
        Qv::LogDebug("SharedMemory::open - Opened shared memory segment '%s' of size '%zu'\n", key.c_str(),
                     size);
    });
    return true;
}

void SharedMemoryBase::close() {
    const os::CancellationShield shield;
    record_->segment.close();
    record_->size = 0;
    record_->key.clear();
}

bool SharedMemoryBase::isOpen() const { return data() != nullptr; }

void* SharedMemoryBase::data() { return record_->segment.data(); }

const void* SharedMemoryBase::data() const { return record_->segment.data(); }

const std::string& SharedMemoryBase::key() const { return record_->key; }

std::uint64_t SharedMemoryBase::size() const { return record_->size; }

void SharedMemoryBase::lock() { record_->segment.lock(); }

void SharedMemoryBase::unlock() { record_->segment.unlock(); }

}  // namespace QvPlatform
