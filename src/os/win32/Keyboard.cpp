#include "os/Keyboard.h"

#include "os/win32/Windows.h"

namespace os {

short capsLockState() { return GetKeyState(VK_CAPITAL); }

}  // namespace os
