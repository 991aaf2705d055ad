#pragma once

#include <QvPlatform/core/Export.h>

#include <memory>

namespace QvPlatform {

/// A recursive mutex for short critical sections within the process. Satisfies the standard library's
/// `BasicLockable` requirements:
///
///     const std::lock_guard guard(mutex);
///
/// Trap: if a thread ends without unlocking it, the mutex stays locked forever.
class QV_API Mutex {
public:
    Mutex();
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;
    /// No thread may hold the mutex.
    ~Mutex();

    /// Waits without limit.
    void lock();
    /// Only the owner may call this, once for each `lock`.
    void unlock();

private:
    struct Record;
    std::unique_ptr<Record> record_;
};

}  // namespace QvPlatform
