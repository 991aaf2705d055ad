#pragma once

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

}  // namespace os
