#pragma once

#include <QvPlatform/core/Export.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace QvPlatform {

/// Memory that processes of one user share by name, with a mutex that they share too. A derived class gives
/// the key and the size and a typed view of the data:
///
///     class Frame : public QvPlatform::SharedMemoryBase {
///     public:
///         bool open() { return SharedMemoryBase::open("frame", sizeof(FrameData)); }
///         FrameData* operator->() { return static_cast<FrameData*>(data()); }
///     };
///
/// A segment begins as zeros and lives exactly as long as some process has it open, also when processes are
/// killed. The empty key is memory of this object alone, with a mutex that is shared. Keys are UTF-8; letter
/// case matters; on Windows they have no backslash but after "Local" or "Global". Failures are warnings in
/// the log. One object is for one thread at a time, apart from `lock` and `unlock`. Trap: on Linux a child
/// made by `fork` uses its parent's hold. If the parent closes the segment, the child keeps the memory, but
/// the next opener of the key gets another segment.
class QV_API SharedMemoryBase {
public:
    SharedMemoryBase(const SharedMemoryBase&) = delete;
    SharedMemoryBase& operator=(const SharedMemoryBase&) = delete;

    bool isOpen() const;
    /// The segment's first byte, at the beginning of a page; null when it is closed.
    void* data();
    const void* data() const;
    /// What was passed to `open`; empty and 0 when it is closed.
    const std::string& key() const;
    std::uint64_t size() const;

    /// Waits without limit for the shared mutex, which is re-entrant. That of a process that died while it
    /// held it is acquired all the same. Has no effect on a closed segment.
    void lock();
    /// Only for the thread that locked; has no effect in another.
    void unlock();

protected:
    SharedMemoryBase();
    /// Closes the segment.
    ~SharedMemoryBase();

    /// Opens the segment or makes it. False, and the object as it was, when it is open already, the system
    /// has no memory or refuses the key, the size is 0, or an existing segment is smaller; sizes are
    /// compared in whole pages. A failed call leaves nothing behind. No point of cancellation, apart from
    /// the log's; if the thread is cancelled there, the segment is open.
    bool open(const std::string& key, std::size_t size);
    /// Does nothing on a closed segment. On Linux it gives up what the calling thread locked through this
    /// object; on Windows, and what another thread locked through it, stays locked until that thread ends or
    /// unlocks it through another object of the key. No point of cancellation.
    void close();

private:
    struct Record;
    std::unique_ptr<Record> record_;
};

}  // namespace QvPlatform
