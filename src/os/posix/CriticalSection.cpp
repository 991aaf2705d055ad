#include "os/CriticalSection.h"

#include "os/posix/RecursiveLock.h"

#include <new>

namespace os {
namespace {

posix::RecursiveLock& lockIn(unsigned char* storage) {
    return *std::launder(static_cast<posix::RecursiveLock*>(static_cast<void*>(storage)));
}

}  // namespace

CriticalSection::CriticalSection() {
    static_assert(sizeof(posix::RecursiveLock) <= sizeof storage_);
    new (storage_) posix::RecursiveLock;
}

CriticalSection::~CriticalSection() = default;

void CriticalSection::lock() { lockIn(storage_).lock(); }

bool CriticalSection::try_lock() { return lockIn(storage_).tryLock() != posix::RecursiveLock::Result::busy; }

void CriticalSection::unlock() {
    lockIn(storage_).unlock([] {});
}

}  // namespace os
