#pragma once

#include "os/posix/Gate.h"

#include <optional>
#include <string>

namespace os::posix {

/// The two files of a segment: the one that holds its memory, and the gate that lets one process at a time
/// open or close it. They belong to the effective user.
class SegmentFiles {
public:
    explicit SegmentFiles(const std::string& name);

    /// Blocks while another process opens or closes the segment; false when the system has no file to give.
    bool enterGate();
    void leaveGate();

    /// Within the gate: takes hold of the segment that a living process has, or of a new one of so many
    /// zeros, for which all memory is there.
    bool hold(std::size_t size);
    bool isNew() const { return isNew_; }
    std::size_t size() const { return size_; }
    /// Enters the gate, gives the hold up, removes both files when it was the last one, and leaves.
    void release();

    int segment() const { return segment_ ? segment_->get() : -1; }

private:
    bool allocate(std::size_t size);

    std::string segmentPath_;
    std::string gatePath_;
    std::optional<Descriptor> gate_;
    std::optional<Descriptor> segment_;
    std::size_t size_ = 0;
    bool isNew_ = false;
};

}  // namespace os::posix
