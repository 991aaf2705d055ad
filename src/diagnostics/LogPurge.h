#pragma once

#include <ctime>
#include <optional>
#include <string>

namespace Qv::detail {

/// The time that lies `days` before `now` by the local calendar, cut to whole seconds unit by unit; nothing
/// if `days` is not a number or the result is outside the calendar's range.
std::optional<std::time_t> purgeCutoff(std::time_t now, double days);

/// Removes the files whose names end with ".log" and that were last written not after the cutoff, the oldest
/// first, from the directory part of `path`. A file that cannot be removed or is in use is logged at TRACE
/// level.
void purgeLogsBeside(const std::string& path, std::optional<std::time_t> cutoff);

}  // namespace Qv::detail
