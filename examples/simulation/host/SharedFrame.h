#pragma once

#include "Run.h"

#include <QvPlatform/threads/SharedMemory.h>

/// What the running simulation tells other processes: its state after a step.
struct Frame {
    int step = 0;
    int steps = 0;  ///< 0 when nothing runs yet
    int contacts = 0;
    Measurement state;
};

/// The frame that the host and those who watch it share, in memory of the system. One simulation at a time.
class SharedFrame : public QvPlatform::SharedMemoryBase {
public:
    SharedFrame() { open("simulation-frame", sizeof(Frame)); }

    void write(const Frame& frame) {
        if (!isOpen()) return;
        lock();
        *static_cast<Frame*>(data()) = frame;
        unlock();
    }

    Frame read() {
        if (!isOpen()) return {};
        lock();
        const Frame frame = *static_cast<const Frame*>(data());
        unlock();
        return frame;
    }
};
