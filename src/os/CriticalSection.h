#pragma once

namespace os {

/// A recursive mutex within the process. If its owner ends, it stays locked.
class CriticalSection {
public:
    CriticalSection();
    CriticalSection(const CriticalSection&) = delete;
    CriticalSection& operator=(const CriticalSection&) = delete;
    ~CriticalSection();

    /// Returns 0, or the system's error if the owner has locked it billions of times.
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
