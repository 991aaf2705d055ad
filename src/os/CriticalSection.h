#pragma once

namespace os {

/// A re-entrant mutex within the process, which stays locked when its owner ends.
class CriticalSection {
public:
    CriticalSection();
    CriticalSection(const CriticalSection&) = delete;
    CriticalSection& operator=(const CriticalSection&) = delete;
    ~CriticalSection();

    /// 0, or the system's error when the owner has locked it too often, some billion times.
    int lock() noexcept;
    bool try_lock() noexcept;
    void unlock() noexcept;

private:
    alignas(8) unsigned char storage_[40];  ///< the system's own object
};

}  // namespace os

#ifndef _WIN32
#include "os/posix/CriticalSection.h"
#endif
