#pragma once

#include "base/ForcedUnwind.h"
#include "os/Cancellation.h"

namespace Qv::detail {

/// Calls `log` and discards its exceptions, for code that must not throw: an invalid filter or the
/// application's log handler can throw. Cancellation of the thread is delayed until afterwards, so that
/// destructors and `noexcept` functions may call this. Only a handler that ends its thread leaves it by
/// unwinding.
template <typename Log>
void logQuietly(Log log) {
    const os::CancellationShield shield;
    try {
        log();
    } catch (base::ForcedUnwind&) {  // the system's own unwinding must continue
        throw;
    } catch (...) {  // there is no way to report it
    }
}

}  // namespace Qv::detail
