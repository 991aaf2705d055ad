#pragma once

#include <cstdint>

namespace os {

/// The system's number for the calling thread; never 0.
std::uint32_t currentThreadId();

/// Starts a detached thread and returns its `currentThreadId`. Throws `std::system_error` if the system
/// cannot create one. A static initializer may call it: it never waits for what a running static initializer
/// blocks.
std::uint32_t startThread(unsigned int (*entry)(void*), void* argument);

/// 0 yields to other threads.
void sleepMilliseconds(unsigned long milliseconds);
void sleepMicroseconds(unsigned long microseconds);

/// The number of logical processors, including those that this process may not use.
int processorCount();

}  // namespace os
