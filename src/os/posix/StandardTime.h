#pragma once

#include <ctime>

namespace os::posix {

/// Seconds east of UTC of the standard time in force at a moment, in the time zone that TZ names.
long standardOffset(std::time_t moment);

}  // namespace os::posix
