#pragma once

#include <cstddef>
#include <memory>
#include <string>

namespace os {

/// What kept a segment from being opened, in the order in which things are tried.
enum class SegmentFailure { None, Mutex, Memory, View, Size };

/// Memory and a re-entrant mutex that processes share by name. It begins as zeros and lives as long as one
/// of them has it open, however they end. One thread at a time, but for the lock.
class SharedSegment {
public:
    SharedSegment();
    SharedSegment(const SharedSegment&) = delete;
    SharedSegment& operator=(const SharedSegment&) = delete;
    ~SharedSegment();

    /// Opens the segment or makes it, in whole pages; the empty name shares only the mutex. It is closed
    /// before. After a failure or an exception, which is of memory, it is closed and left nothing behind.
    SegmentFailure open(const std::string& name, std::size_t size);
    /// On POSIX systems it gives up what the calling thread locked through this object.
    void close() noexcept;

    /// Null when it is closed.
    void* data() const noexcept;
    /// Also from an owner that died.
    void lock() noexcept;
    void unlock() noexcept;

private:
    struct Record;
    std::unique_ptr<Record> record_;
};

}  // namespace os
