#pragma once

#include <cstdint>
#include <optional>

/// The system's clocks. Any thread.
namespace os {

/// A monotonic counter.
std::int64_t counterTicks();
/// Ticks per second; constant.
std::int64_t counterFrequency();

/// In seconds; nothing if unavailable.
std::optional<double> finestTimerPeriod();

/// Processor cycles that all threads of the process have used; nothing on failure, which the caller reports.
/// On Windows, 0 if unavailable.
std::optional<std::uint64_t> processCycles();

}  // namespace os
