#pragma once

#include <cstdint>

namespace os {

/// The system's number for the calling thread; never 0.
std::uint32_t currentThreadId();

/// Starts a detached thread and returns its `currentThreadId`. Throws `std::system_error` if the system
/// cannot create one. Does not wait for the thread to start, since a static initializer may prevent that.
std::uint32_t startThread(unsigned int (*entry)(void*), void* argument);

/// 0 yields to other threads.
void sleepMilliseconds(unsigned long milliseconds);
void sleepMicroseconds(unsigned long microseconds);

/// The number of logical processors, including those that this process may not use.
int processorCount();

}  // namespace os
