#pragma once

#include <ctime>
#include <optional>
#include <string>

namespace Qv::detail {

/// The time `days` before `now` in the local calendar. `days` is split into whole days, hours, minutes and
/// seconds; a fraction of a second is dropped. Returns nothing if `days` is NaN or the result is outside the
/// calendar's range.
std::optional<std::time_t> purgeCutoff(std::time_t now, double days);

/// Removes the files "*.log" that were last written at or before the cutoff from the directory part of
/// `path`, the oldest first. Logs a file that cannot be removed or is in use at TRACE level.
void purgeLogsBeside(const std::string& path, std::optional<std::time_t> cutoff);

}  // namespace Qv::detail
