#include <QvPlatform/time/CycleTime.h>

#include <QvPlatform/diagnostics/Log.h>

#include "os/Clock.h"

namespace QvPlatform::CycleTime {

double getCurrentValue() {
    const auto cycles = os::processCycles();
    if (!cycles) Qv::LogError("QvPlatform::CycleTime::getCurrentValue: unable to get time\n");
    return static_cast<double>(cycles.value_or(0));
}

}  // namespace QvPlatform::CycleTime
