#pragma once

#include <functional>

namespace os {

/// Runs `work` on a thread of its own with a stack of 64 MiB and waits for it; false, and nothing was
/// run, when the system has no thread to give. `work` must not throw.
bool runOnLargeStack(const std::function<void()>& work);

}  // namespace os
