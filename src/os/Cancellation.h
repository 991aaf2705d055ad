#pragma once

#ifndef _WIN32
#include <pthread.h>
#endif

namespace os {

/// Delays cancellation of the calling thread during its lifetime, so that the result of a system call is
/// always recorded. Can be nested. Windows has no cancellation of threads.
class CancellationShield {
public:
    CancellationShield() noexcept;
    CancellationShield(const CancellationShield&) = delete;
    CancellationShield& operator=(const CancellationShield&) = delete;
    ~CancellationShield();

private:
    [[maybe_unused]] int previous_ = 0;
};

// Inline, so that the owners in the support headers need no other source.
#ifdef _WIN32
inline CancellationShield::CancellationShield() noexcept = default;
inline CancellationShield::~CancellationShield() = default;
#else
inline CancellationShield::CancellationShield() noexcept {
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &previous_);
}
inline CancellationShield::~CancellationShield() { pthread_setcancelstate(previous_, nullptr); }
#endif

}  // namespace os
