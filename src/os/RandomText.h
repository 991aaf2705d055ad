#pragma once

#include <cstddef>
#include <string>

namespace os {

/// Digits and small letters that nobody can guess, at most 16. If the system's random source fails, they are
/// made of the time and a count, so that they still differ from call to call. Any thread.
std::string randomText(std::size_t length);

}  // namespace os
