#pragma once

namespace os {

/// Puts off the cancellation of the calling thread for a scope in which a system call is followed by the
/// record of what it gave. Nests. Windows has no cancellation of threads.
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
