#pragma once

namespace Qv::detail {

/// Calls `log` where nothing may be thrown: an invalid filter, or a handler of the application's, makes
/// messages throw.
template <typename Log>
void logQuietly(Log log) noexcept {
    try {
        log();
    } catch (...) {  // there is nobody to tell
    }
}

}  // namespace Qv::detail
