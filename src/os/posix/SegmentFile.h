#pragma once

#include "os/posix/Gate.h"

#include <optional>
#include <string>

namespace os::posix {

/// The file in memory that a segment is. It belongs to the effective user.
///
/// Two kinds of lock that the system keeps apart lie on it, and with a process that dies both go: one over
/// the whole file while a process opens or closes the segment, and one of a byte range, shared, as long as it
/// has it open.
class SegmentFile {
public:
    explicit SegmentFile(const std::string& name);

    /// Opens or makes the file; blocks while another process opens or closes the segment. False when the
    /// system has no file to give.
    bool enter();
    void leave();

    /// After `enter`: takes hold of the segment of a living process, or makes a new one of so many zeros, for
    /// which all memory is there.
    bool hold(std::size_t size);
    bool isNew() const { return isNew_; }
    std::size_t size() const { return size_; }
    int descriptor() const { return file_->get(); }

    /// Gives the hold up, and removes the file when it was the last one.
    void release();

private:
    bool allocate(std::size_t size);

    std::string path_;
    std::optional<Descriptor> file_;
    std::size_t size_ = 0;
    bool isNew_ = false;
};

}  // namespace os::posix
