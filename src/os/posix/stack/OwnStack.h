#pragma once

#include <functional>

namespace os::posix {

/// Starts a detached thread with a megabyte of stack and all signals blocked.
bool startThread(void* (*work)(void*), void* argument);

/// Runs `work`, which must not throw, on such a thread and waits for it. So a caller on a small stack, such
/// as the alternate one of a signal handler, can use libraries that need a large one. Not a cancellation
/// point. Returns false if no thread can be created; `work` has not run then.
bool runOnOwnStack(const std::function<void()>& work);

}  // namespace os::posix
