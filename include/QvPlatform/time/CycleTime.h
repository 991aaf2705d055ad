#pragma once

#include <QvPlatform/core/Export.h>

namespace QvPlatform::CycleTime {

/// The processor cycles that all threads of this process have used, on Linux the processor time at the rate
/// of the time-stamp counter; 0 when the system does not tell. Any thread.
QV_API double getCurrentValue();

}  // namespace QvPlatform::CycleTime
