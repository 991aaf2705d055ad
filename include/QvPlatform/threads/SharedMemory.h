#pragma once

#include <QvPlatform/core/Export.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace QvPlatform {

/// Memory that processes of one user share by name, with a shared mutex. A derived class supplies the key,
/// the size and a typed view of the data:
///
///     class Frame : public QvPlatform::SharedMemoryBase {
///     public:
///         bool open() { return SharedMemoryBase::open("frame", sizeof(FrameData)); }
///         FrameData* operator->() { return static_cast<FrameData*>(data()); }
///     };
///
/// A new segment is filled with zeros. It exists exactly as long as a process has it open, even if processes
/// are killed. The empty key gives memory that is private to this object, with a shared mutex. Keys are UTF-8
/// and case-sensitive; on Windows they may contain a backslash only after "Local" or "Global". Failures are
/// logged as warnings. One thread at a time may use an object, except for `lock` and `unlock`.
///
/// On Linux, processes share a segment if their effective user is the same, and no other user but the
/// superuser can access it. Another user who takes the name of its file in /dev/shm only makes `open` fail:
/// a file of another owner, kind or mode, a link, or a file with several names is neither read nor changed.
/// On Windows, the system decides by the access rights of the creating process who may open a segment.
///
/// Trap: on Linux a child created by `fork` relies on its parent to keep the segment open. If the parent
/// closes it, the child keeps the memory, but the next process that opens the key gets a new segment.
class QV_API SharedMemoryBase {
public:
    SharedMemoryBase(const SharedMemoryBase&) = delete;
    SharedMemoryBase& operator=(const SharedMemoryBase&) = delete;

    bool isOpen() const;
    /// The segment's first byte, page-aligned; null if the segment is closed.
    void* data();
    const void* data() const;
    /// The key and size passed to `open`; "" and 0 if the segment is closed.
    const std::string& key() const;
    std::uint64_t size() const;

    /// Waits without limit for the shared mutex, which is recursive. If its owner died, the mutex is acquired
    /// normally. Has no effect on a closed segment.
    void lock();
    /// Has no effect unless the calling thread holds the lock.
    void unlock();

protected:
    SharedMemoryBase();
    /// Closes the segment.
    ~SharedMemoryBase();

    /// Opens the segment or creates it. Returns false, with the object unchanged, if it is already open,
    /// memory runs out, the system refuses the key, the size is 0, or an existing segment is smaller; sizes
    /// are compared in whole pages. A failed call leaves nothing behind. Not a cancellation point, except in
    /// logging; if the thread is cancelled after a successful opening, the segment is open.
    bool open(const std::string& key, std::size_t size);
    /// Closes the segment; does nothing if it is closed. On Linux, locks that the calling thread took through
    /// this object are released. Locks of other threads, and on Windows all locks, stay until the thread ends
    /// or unlocks through another object with the same key. Not a cancellation point.
    void close();

private:
    struct Record;
    std::unique_ptr<Record> record_;
};

}  // namespace QvPlatform
