#pragma once

#include <QvPlatform/core/Export.h>

namespace QvPlatform::Keyboard {

/// Whether Caps Lock is on and its key is not held down. On Windows this is the keyboard state when the
/// calling thread retrieved its latest message. On Linux it is the state of a keyboard's Caps Lock light,
/// even while the key is held; false if the system exposes no such light. Any thread.
QV_API bool capsLockIsOn();

}  // namespace QvPlatform::Keyboard
