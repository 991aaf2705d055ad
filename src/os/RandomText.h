#pragma once

#include <cstddef>
#include <string>

namespace os {

/// Unpredictable digits and lower-case letters, at most 16. If the system's random source fails, they are
/// made from the time and a counter, so that they still differ from call to call. Any thread.
std::string randomText(std::size_t length);

}  // namespace os
