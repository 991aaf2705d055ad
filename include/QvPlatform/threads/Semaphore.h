#pragma once

#include <QvPlatform/core/Export.h>

#include <memory>

namespace QvPlatform {

/// A counting semaphore within the process, of at most 2,147,483,647.
///
/// Trap: one that was made with a larger count is none: it never blocks, and releasing it has no effect.
class QV_API Semaphore {
public:
    /// With the count 0.
    Semaphore();
    explicit Semaphore(unsigned int initialCount);
    Semaphore(const Semaphore&) = delete;
    Semaphore& operator=(const Semaphore&) = delete;
    /// Nobody may wait on it.
    ~Semaphore();

    /// Waits without limit until the count is above 0, and takes one.
    void acquire();
    /// Adds one; has no effect at the maximum.
    void release();

private:
    struct Record;
    std::unique_ptr<Record> record_;
};

}  // namespace QvPlatform
