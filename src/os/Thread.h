#pragma once

#include <cstdint>

namespace os {

/// The system's number for the calling thread; never 0.
std::uint32_t currentThreadId();

/// Starts a thread that cannot be waited for; its `currentThreadId`. Throws `std::system_error` when the
/// system has none to give. Does not need the thread to get anywhere that a static initializer keeps it from.
std::uint32_t startThread(unsigned int (*entry)(void*), void* argument);

/// 0 yields to other threads.
void sleepMilliseconds(unsigned long milliseconds);
void sleepMicroseconds(unsigned long microseconds);

/// Of the machine, also those that this process may not use.
int processorCount();

}  // namespace os
