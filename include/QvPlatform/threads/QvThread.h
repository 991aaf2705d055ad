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
/// Both mutexes are recursive: the owner unlocks as often as it locked. `QvMutex` detects that its owner has
/// ended, and works with the condition; `QvThreadMutex` is for short critical sections. Trap: the results are
/// not uniform (`QvMutexUnlock` returns nonzero on success, the others 0). Any thread may call these
/// functions. Null pointers are ignored; nothing is locked.
///
/// The creator destroys the object. Destroying an object that a thread holds or waits on is an undetected
/// error, but a condition may be destroyed while threads that it released still wait for the mutex.
namespace Qv {

struct QvMutex;
struct QvThreadMutex;
struct QvConditionVariable;

/// Starts a detached thread and returns its `QvThreadGetID`; the result of `entry` is discarded. A static
/// initializer may call this, but on Windows the thread starts only after the initializer has ended. Throws
/// `std::system_error` if the system cannot create a thread. An exception that leaves `entry` ends the
/// process.
QV_API std::uint64_t QvThreadCreate(unsigned int (*entry)(void*), void* argument);
/// The calling thread's identifier: the 64-bit FNV-1a (Fowler, Noll, Vo) hash of the system's 32-bit thread
/// number. The system may reuse the number after the thread has ended.
QV_API std::uint64_t QvThreadGetID();
/// 0 yields to other threads. On Windows the largest value means forever.
QV_API void QvThreadSleep(unsigned long milliseconds);
QV_API void QvThreadMicroSleep(unsigned long microseconds);
/// The number of logical processors, whether or not this process may use them all.
QV_API int QvThreadGetCPUCount();

/// Null when the system has none to give.
QV_API QvMutex* QvMutexCreate();
QV_API void QvMutexDestroy(QvMutex* mutex);
/// Waits without limit. Returns 0 if acquired, 128 if acquired from an owner that ended without unlocking,
/// and -1 for a null pointer or if the calling thread has already locked it billions of times.
QV_API int QvMutexLock(QvMutex* mutex);
/// Nonzero on success, 0 if the calling thread does not own it.
QV_API int QvMutexUnlock(QvMutex* mutex);
/// As `QvMutexLock`, but if another thread owns the mutex, returns 258 at once.
QV_API int QvMutexTryLock(QvMutex* mutex);

/// Null if memory runs out. If a thread ends without unlocking it, the mutex stays locked forever.
QV_API QvThreadMutex* QvThreadMutexCreate();
QV_API void QvThreadMutexDestroy(QvThreadMutex* mutex);
/// Waits without limit. Returns 0, or another value only if the calling thread has locked it billions of
/// times.
QV_API int QvThreadMutexLock(QvThreadMutex* mutex);
/// Only the owner may call this. Returns 0.
QV_API int QvThreadMutexUnlock(QvThreadMutex* mutex);
/// Returns 0 if acquired, 1 if another thread owns it.
QV_API int QvThreadMutexTryLock(QvThreadMutex* mutex);

/// Null when the system has none to give.
QV_API QvConditionVariable* QvConditionVariableCreate();
QV_API void QvConditionVariableDestroy(QvConditionVariable* condition);
/// Releases the mutex and waits for a signal atomically, then reacquires the mutex; neither wait has a time
/// limit. If the mutex was locked several times, only one level is released. If the calling thread does not
/// own the mutex, acquires it without waiting for a signal.
QV_API void QvConditionVariableWait(QvConditionVariable* condition, QvMutex* mutex);
/// Releases one waiting thread; on Linux, the one that has waited longest. If no thread waits, the next wait
/// returns at once; at most one such signal is remembered.
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
