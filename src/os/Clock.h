#pragma once

#include <cstdint>
#include <optional>

/// What the system measures time with. Any thread.
namespace os {

/// A monotonic counter.
std::int64_t counterTicks();
/// Ticks per second; always the same.
std::int64_t counterFrequency();

/// Seconds; nothing when the system does not tell.
std::optional<double> finestTimerPeriod();

/// Processor cycles that all threads of the process have used; nothing when asking fails in a way that the
/// caller reports. Windows says 0 when it does not know.
std::optional<std::uint64_t> processCycles();

}  // namespace os
