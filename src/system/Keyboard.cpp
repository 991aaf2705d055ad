#include <QvPlatform/system/Keyboard.h>

#include "os/Keyboard.h"

namespace QvPlatform::Keyboard {

bool capsLockIsOn() { return os::capsLockState() == 1; }

}  // namespace QvPlatform::Keyboard
