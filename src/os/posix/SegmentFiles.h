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

    /// Within the gate: takes hold of the segment when a living process has it, else removes what is left of
    /// one; false then.
    bool holdLiving();
    /// Within the gate: makes the segment with all of its memory, zeros, and takes hold of it.
    bool create(std::size_t size);
    /// Enters the gate, gives the hold up, removes both files when it was the last one, and leaves.
    void release();

    int segment() const { return segment_ ? segment_->get() : -1; }
    std::size_t segmentSize() const;

private:
    std::string segmentPath_;
    std::string gatePath_;
    std::optional<Descriptor> gate_;
    std::optional<Descriptor> segment_;
};

}  // namespace os::posix
