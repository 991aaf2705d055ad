#pragma once

#include <ctime>

namespace os::posix {

/// The offset of standard time (without daylight saving) at `moment`, in seconds east of UTC, in the time
/// zone given by TZ.
long standardOffset(std::time_t moment);

}  // namespace os::posix
