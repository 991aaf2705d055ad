#pragma once

namespace os {

/// A re-entrant mutex within the process. Waiting threads try for a while before they sleep.
class CriticalSection {
public:
    CriticalSection();
    CriticalSection(const CriticalSection&) = delete;
    CriticalSection& operator=(const CriticalSection&) = delete;
    ~CriticalSection();

    void lock();
    bool try_lock();
    void unlock();

private:
    alignas(8) unsigned char storage_[40];  ///< the system's own object
};

}  // namespace os
