#pragma once

#include <cstddef>
#include <memory>
#include <string>

namespace os {

/// Why a segment could not be opened, in the order of the steps. `taken`: its name belongs to something that
/// others may have put there; only on POSIX systems.
enum class SegmentFailure { none, taken, mutex, memory, view, size };

/// Memory and a recursive mutex that processes share by name. New memory is filled with zeros. The segment
/// exists as long as a process has it open, however processes end. One thread at a time, except for `lock`
/// and `unlock`.
class SharedSegment {
public:
    SharedSegment();
    SharedSegment(const SharedSegment&) = delete;
    SharedSegment& operator=(const SharedSegment&) = delete;
    ~SharedSegment();

    /// Opens or creates the segment, in whole pages; the empty name shares only the mutex. Precondition: the
    /// segment is closed. Throws only if memory runs out. After a failure or an exception the segment is
    /// closed and nothing is left behind.
    SegmentFailure open(const std::string& name, std::size_t size);
    /// On POSIX systems, releases the locks that the calling thread took through this object.
    void close() noexcept;

    /// Null if the segment is closed.
    void* data() const noexcept;
    /// Also acquires the mutex if its owner died.
    void lock() noexcept;
    void unlock() noexcept;

private:
    struct Record;
    std::unique_ptr<Record> record_;
};

}  // namespace os
