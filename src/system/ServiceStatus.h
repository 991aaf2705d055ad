#pragma once

#include <QvPlatform/diagnostics/Log.h>
#include <QvPlatform/system/Services.h>

#include "os/Services.h"

namespace QvPlatform::detail {

/// Logs a warning if the service manager is unreachable.
inline eServiceStatus statusOf(const os::ServiceState& state) {
    if (state.managerError)
        Qv::LogWarn("QvPlatform::getServiceStatus failed, error code (%d)\n",
                    static_cast<int>(*state.managerError));
    if (!state.isRunning) return eServiceStatusUnknown;
    return *state.isRunning ? eServiceStatusRunning : eServiceStatusNotRunning;
}

}  // namespace QvPlatform::detail
