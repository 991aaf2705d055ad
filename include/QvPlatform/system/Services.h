#pragma once

#include <QvPlatform/core/Export.h>

#include <string>

namespace QvPlatform {

enum eServiceStatus : int {
    eServiceStatusUnknown = 0,     ///< not installed, or its state could not be obtained
    eServiceStatusNotRunning = 1,  ///< stopped, paused, or changing state
    eServiceStatusRunning = 2
};

/// The state of a system service, given its internal UTF-8 name. Logs a warning if the service manager is
/// unreachable; a missing service is not logged. On Linux always unknown. Any thread.
QV_API eServiceStatus getServiceStatus(const std::string& serviceName);

}  // namespace QvPlatform
