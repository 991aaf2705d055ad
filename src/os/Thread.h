#pragma once

#include <cstdint>

namespace os {

/// The system's number for the calling thread; never 0.
std::uint32_t currentThreadId();

/// 0 yields to other threads.
void sleepMilliseconds(unsigned long milliseconds);
void sleepMicroseconds(unsigned long microseconds);

/// Of the machine, also those that this process may not use.
int processorCount();

}  // namespace os
