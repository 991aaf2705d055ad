#pragma once

#include <QvPlatform/core/Export.h>

namespace QvPlatform::Keyboard {

/// Whether Caps Lock is on and its key is not held down. On Windows that is the state of the keyboard when
/// the calling thread took its latest message; on Linux whether a keyboard's light is on, also while the key
/// is held, and false where the system shows no light. Any thread.
QV_API bool capsLockIsOn();

}  // namespace QvPlatform::Keyboard
