#pragma once

#include <QvPlatform/core/Export.h>

#include <cstdint>

/// Threads, two kinds of mutex and a condition signal, as free functions on opaque objects.
///
///     Qv::QvMutex* mutex = Qv::QvMutexCreate();
///     if (Qv::QvMutexLock(mutex) == 0) ...
///     Qv::QvMutexUnlock(mutex);
///     Qv::QvMutexDestroy(mutex);
///
/// Both kinds are re-entrant: their owner unlocks as often as it locked. `QvMutex` notices that its owner
/// has ended and works with the condition; `QvThreadMutex` is for short critical sections. Traps: the
/// results are not uniform (`QvMutexUnlock` succeeds with nonzero, the others with 0). The creator
/// destroys; destroying what a thread holds or waits on is an error that is not detected, but a condition may
/// be destroyed while threads that it released still wait for the mutex. Null pointers do nothing, and lock
/// nothing. Any thread may call these functions.
namespace Qv {

struct QvMutex;
struct QvThreadMutex;
struct QvConditionVariable;

/// Starts a thread that nobody can wait for, and returns what `QvThreadGetID` returns in it; the entry's
/// result is lost. A static initializer may call it, but on Windows the thread begins after that has ended.
/// Throws `std::system_error` when the system has no thread to give. An exception that leaves the entry ends
/// the process.
QV_API std::uint64_t QvThreadCreate(unsigned int (*entry)(void*), void* argument);
/// The calling thread's identifier: the 64-bit FNV-1a hash of the system's 32-bit number for it, which
/// the system may give to another thread after this one has ended. (Fowler, Noll, Vo.)
QV_API std::uint64_t QvThreadGetID();
/// 0 yields to other threads. On Windows the largest value is for ever.
QV_API void QvThreadSleep(unsigned long milliseconds);
QV_API void QvThreadMicroSleep(unsigned long microseconds);
/// The number of logical processors, whether or not this process may use them all.
QV_API int QvThreadGetCPUCount();

/// Null when the system has none to give.
QV_API QvMutex* QvMutexCreate();
QV_API void QvMutexDestroy(QvMutex* mutex);
/// Waits without limit. 0 when acquired, 128 when acquired from an owner that ended without unlocking, -1
/// for a null pointer and when the calling thread has locked it some billion times already.
QV_API int QvMutexLock(QvMutex* mutex);
/// Nonzero on success, 0 when the calling thread does not own it.
QV_API int QvMutexUnlock(QvMutex* mutex);
/// As `QvMutexLock`, but 258 at once when another thread owns it.
QV_API int QvMutexTryLock(QvMutex* mutex);

/// Null when the memory is used up. A thread that ends without unlocking leaves it locked for ever.
QV_API QvThreadMutex* QvThreadMutexCreate();
QV_API void QvThreadMutexDestroy(QvThreadMutex* mutex);
/// Waits without limit; 0. Something else only when the calling thread has locked it some billion times.
QV_API int QvThreadMutexLock(QvThreadMutex* mutex);
/// Only for the owner; 0.
QV_API int QvThreadMutexUnlock(QvThreadMutex* mutex);
/// 0 when acquired, 1 when another thread owns it.
QV_API int QvThreadMutexTryLock(QvThreadMutex* mutex);

/// Null when the system has none to give.
QV_API QvConditionVariable* QvConditionVariableCreate();
QV_API void QvConditionVariableDestroy(QvConditionVariable* condition);
/// Releases the mutex and waits for a signal in one step, then acquires the mutex again; both without
/// limit. Only one level of a mutex that was locked several times is released. When the calling thread
/// does not own the mutex, nothing is waited for, but the mutex is acquired.
QV_API void QvConditionVariableWait(QvConditionVariable* condition, QvMutex* mutex);
/// Releases one waiting thread, the one that has waited longest on Linux. When none waits, the next wait
/// returns at once; no more than one such signal is remembered.
QV_API void QvConditionVariableSignal(QvConditionVariable* condition);

/// Holds a `QvThreadMutex` for a scope.
class QV_API QvMutexScopedLock {
public:
    /// Locks; a null pointer locks nothing. The mutex must outlive the lock.
    explicit QvMutexScopedLock(QvThreadMutex* mutex);
    QvMutexScopedLock(const QvMutexScopedLock&) = delete;
    QvMutexScopedLock& operator=(const QvMutexScopedLock&) = delete;
    ~QvMutexScopedLock();

    /// Unlocks before the scope ends; a second call does nothing.
    void release();

private:
    QvThreadMutex* mutex_;
};

}  // namespace Qv
