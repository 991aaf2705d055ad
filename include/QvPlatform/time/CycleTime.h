#pragma once

#include <QvPlatform/core/Export.h>

namespace QvPlatform::CycleTime {

/// The processor cycles that all threads of this process have used; 0 if unavailable. On Linux this is the
/// processor time, converted at the rate of the time-stamp counter. Any thread.
QV_API double getCurrentValue();

}  // namespace QvPlatform::CycleTime
