#include <QvPlatform/threads/QvThread.h>

#include "base/Fnv.h"
#include "os/CriticalSection.h"
#include "os/SystemMutex.h"
#include "os/Thread.h"

#include <memory>
#include <new>
#include <utility>

namespace Qv {

struct QvMutex {
    os::SystemMutex mutex;
};

struct QvThreadMutex {
    os::CriticalSection section;
};

struct QvConditionVariable {
    os::Signal signal;
};

namespace {

/// The hash of a number's bytes, the lowest first.
std::uint64_t hashOf(std::uint32_t number) {
    char bytes[sizeof number];
    for (char& byte : bytes) {
        byte = static_cast<char>(number & 0xFFU);
        number >>= 8U;
    }
    return base::fnv1a({bytes, sizeof bytes});
}

template <typename Object>
Object* validOrNull(std::unique_ptr<Object> object, bool isValid) {
    return isValid ? object.release() : nullptr;
}

}  // namespace

std::uint64_t QvThreadCreate(unsigned int (*entry)(void*), void* argument) {
    return hashOf(os::startThread(entry, argument));
}

std::uint64_t QvThreadGetID() { return hashOf(os::currentThreadId()); }

void QvThreadSleep(unsigned long milliseconds) { os::sleepMilliseconds(milliseconds); }

void QvThreadMicroSleep(unsigned long microseconds) { os::sleepMicroseconds(microseconds); }

int QvThreadGetCPUCount() { return os::processorCount(); }

QvMutex* QvMutexCreate() {
    std::unique_ptr<QvMutex> mutex(new (std::nothrow) QvMutex);
    const bool isValid = mutex && mutex->mutex.isValid();
    return validOrNull(std::move(mutex), isValid);
}

void QvMutexDestroy(QvMutex* mutex) {
    if (mutex && mutex->mutex.retire()) delete mutex;
}

int QvMutexLock(QvMutex* mutex) { return mutex ? mutex->mutex.lock() : os::kWaitFailed; }

int QvMutexUnlock(QvMutex* mutex) { return mutex && mutex->mutex.unlock() ? 1 : 0; }

int QvMutexTryLock(QvMutex* mutex) { return mutex ? mutex->mutex.tryLock() : os::kWaitFailed; }

QvThreadMutex* QvThreadMutexCreate() { return new (std::nothrow) QvThreadMutex; }

void QvThreadMutexDestroy(QvThreadMutex* mutex) { delete mutex; }

int QvThreadMutexLock(QvThreadMutex* mutex) { return mutex ? mutex->section.lock() : 0; }

int QvThreadMutexUnlock(QvThreadMutex* mutex) {
    if (mutex) mutex->section.unlock();
    return 0;
}

int QvThreadMutexTryLock(QvThreadMutex* mutex) { return !mutex || mutex->section.try_lock() ? 0 : 1; }

QvConditionVariable* QvConditionVariableCreate() {
    std::unique_ptr<QvConditionVariable> condition(new (std::nothrow) QvConditionVariable);
    const bool isValid = condition && condition->signal.isValid();
    return validOrNull(std::move(condition), isValid);
}

void QvConditionVariableDestroy(QvConditionVariable* condition) { delete condition; }

void QvConditionVariableWait(QvConditionVariable* condition, QvMutex* mutex) {
    if (condition && mutex) condition->signal.wait(mutex->mutex);
}

void QvConditionVariableSignal(QvConditionVariable* condition) {
    if (condition) condition->signal.give();
}

QvMutexScopedLock::QvMutexScopedLock(QvThreadMutex* mutex) : mutex_(mutex) { QvThreadMutexLock(mutex_); }

QvMutexScopedLock::~QvMutexScopedLock() { release(); }

void QvMutexScopedLock::release() {
    QvThreadMutexUnlock(mutex_);
    mutex_ = nullptr;
}

}  // namespace Qv
