#pragma once

namespace os {

/// 1 if Caps Lock is on; on Windows the highest bit is set while the key is held.
short capsLockState();

}  // namespace os
