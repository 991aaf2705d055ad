#pragma once

namespace bench {

/// A logging function that does nothing but look at a threshold, which drops everything: the limit of a
/// suppressed line. In a file of its own, so that the compiler cannot see through the call.
void bareLog(const char* format, ...) __attribute__((format(printf, 1, 2)));

}  // namespace bench
