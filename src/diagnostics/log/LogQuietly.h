#pragma once

#include "os/Cancellation.h"

#include <cxxabi.h>

namespace Qv::detail {

/// Calls `log` where nothing may be thrown: an invalid filter, or a handler of the application's, makes
/// messages throw. A cancellation of the thread is put off until afterwards, so that destructors and
/// `noexcept` functions may call this; only a handler that ends its thread leaves it by unwinding.
template <typename Log>
void logQuietly(Log log) {
    const os::CancellationShield shield;
    try {
        log();
    } catch (abi::__forced_unwind&) {  // the system's, which must go on
        throw;
    } catch (...) {  // there is nobody to tell
    }
}

}  // namespace Qv::detail
