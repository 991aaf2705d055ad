#pragma once

#include "os/ProcessLock.h"
#include "os/posix/PosixSupport.h"

#include <sys/stat.h>

#include <string>

namespace os::posix {

/// Guards this process's records of its open segments.
inline constexpr ProcessLock kSegments{LockRank::segments};

/// A file whose gate this process has entered or waits for. A forked process closes its copies of these.
struct GateEntry {
    int descriptor = -1;
    GateEntry* next = nullptr;
};

/// The file in memory that holds a segment. The effective user owns it. Each object that opens the segment
/// opens the file separately.
///
/// The file has two locks of different kinds, so they do not conflict. The system releases both when a
/// process dies:
/// - the gate, over the whole file: exclusive, while a process opens or closes the segment;
/// - the hold, of a byte range: shared, while a process has the segment open.
/// A file that is not empty and has no hold was left behind by processes that were killed.
class SegmentFile {
public:
    /// The only operation that may throw.
    explicit SegmentFile(const std::string& name);
    SegmentFile(const SegmentFile&) = delete;
    SegmentFile& operator=(const SegmentFile&) = delete;
    /// As `release`.
    ~SegmentFile() { release(); }

    /// Opens or creates the file and enters its gate; blocks while another process opens or closes the
    /// segment. Returns false if the file cannot be opened or created, or is not such a file.
    bool enter() noexcept;
    /// True if its name belongs to something else: to another user's file, a file that others may access, one
    /// with several names, or no regular file. For the message after `enter` failed.
    bool isTaken() const noexcept;
    /// Takes a hold, and gives a new segment its size with all its memory reserved. Returns false if memory
    /// runs out. Precondition: inside the gate.
    bool hold(std::size_t size) noexcept;
    /// Leaves the gate and keeps the hold. Returns false, still inside, if the system does not unlock it.
    bool leave() noexcept;
    /// Gives up the hold, removes the file if that was the last hold, and leaves the gate. May be called
    /// inside or outside the gate. In a forked process the hold belongs to the parent, so the file is only
    /// closed.
    void release() noexcept;

    /// True if the segment is new, so that this object must initialize it.
    bool isNew() const noexcept { return isNew_; }
    std::size_t size() const noexcept { return static_cast<std::size_t>(status_.st_size); }
    int descriptor() const noexcept { return file_.get(); }
    bool isSameAs(const struct stat& other) const noexcept {
        return status_.st_dev == other.st_dev && status_.st_ino == other.st_ino;
    }
    const struct stat& status() const noexcept { return status_; }

private:
    bool openFile(int flags) noexcept;
    void closeFile() noexcept;
    bool lockGate() noexcept;
    bool look() noexcept;
    bool isOwn() noexcept;

    std::string path_;
    Descriptor file_;
    struct stat status_ {};
    unsigned int generation_ = 0;
    bool isNew_ = false;
    GateEntry entry_;
};

}  // namespace os::posix
