#pragma once

#include <QvPlatform/core/Export.h>

#include <memory>

namespace QvPlatform {

/// A re-entrant mutex for short critical sections within the process. Satisfies the standard library's
/// requirements on something to lock:
///
///     const std::lock_guard guard(mutex);
///
/// Trap: a thread that ends without unlocking leaves it locked for ever.
class QV_API Mutex {
public:
    Mutex();
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;
    /// Nobody may hold it.
    ~Mutex();

    /// Waits without limit.
    void lock();
    /// Only for the owner, as often as it locked.
    void unlock();

private:
    struct Record;
    std::unique_ptr<Record> record_;
};

}  // namespace QvPlatform
