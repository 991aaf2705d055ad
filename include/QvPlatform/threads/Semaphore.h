#pragma once

#include <QvPlatform/core/Export.h>

#include <memory>

namespace QvPlatform {

/// A counting semaphore within the process. The maximum count is 2,147,483,647.
///
/// Trap: a larger initial count makes the semaphore invalid: `acquire` never blocks and `release` has no
/// effect.
class QV_API Semaphore {
public:
    /// The initial count is 0.
    Semaphore();
    explicit Semaphore(unsigned int initialCount);
    Semaphore(const Semaphore&) = delete;
    Semaphore& operator=(const Semaphore&) = delete;
    /// No thread may wait on the semaphore.
    ~Semaphore();

    /// Waits without limit until the count is above 0, then decrements it.
    void acquire();
    /// Increments the count; has no effect at the maximum.
    void release();

private:
    struct Record;
    std::unique_ptr<Record> record_;
};

}  // namespace QvPlatform
