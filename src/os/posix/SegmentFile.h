#pragma once

#include "os/ProcessLock.h"
#include "os/posix/Gate.h"

#include <sys/stat.h>

#include <optional>
#include <string>

namespace os::posix {

/// Guards what the process knows of the segments that it has open.
inline constexpr ProcessLock kSegments{LockRank::segments};

/// A file whose gate this process has entered or waits for. A forked process closes its copies of these.
struct GateEntry {
    int descriptor = -1;
    GateEntry* next = nullptr;
};

/// The file in memory that a segment is. It belongs to the effective user. Every object that has the segment
/// open has the file open once more.
///
/// Two kinds of lock lie on the file. The system keeps them apart, and releases them when a process dies:
/// - the gate, over the whole file: exclusive, while a process opens or closes the segment;
/// - the hold, of a byte range: shared, while a process has the segment open.
/// A file that is not empty and has no hold was left by processes that were killed.
class SegmentFile {
public:
    /// The only operation that may throw.
    explicit SegmentFile(const std::string& name);
    SegmentFile(const SegmentFile&) = delete;
    SegmentFile& operator=(const SegmentFile&) = delete;
    /// Releases it.
    ~SegmentFile() { release(); }

    /// Opens or makes the file and enters its gate; blocks while another process opens or closes the segment.
    /// False when the system has no file to give.
    bool enter() noexcept;
    /// Inside the gate: takes a hold, and gives a new segment its size, with all its memory reserved. False
    /// when the system has no memory.
    bool hold(std::size_t size) noexcept;
    /// Opens the gate and keeps the hold.
    void leave() noexcept;
    /// Gives the hold up, removes the file if it was the last one, and opens the gate; called inside or
    /// outside the gate. In a forked process the hold is the parent's, and the file is only closed.
    void release() noexcept;

    /// Nobody used the segment before this object.
    bool isNew() const noexcept { return isNew_; }
    std::size_t size() const noexcept { return static_cast<std::size_t>(status_.st_size); }
    int descriptor() const noexcept { return file_->get(); }
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
    std::optional<Descriptor> file_;
    struct stat status_ {};
    unsigned int generation_ = 0;
    bool isNew_ = false;
    GateEntry entry_;
};

}  // namespace os::posix
