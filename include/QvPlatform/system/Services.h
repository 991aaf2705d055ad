#pragma once

#include <QvPlatform/core/Export.h>

#include <string>

namespace QvPlatform {

enum eServiceStatus : int {
    eServiceStatusUnknown = 0,     ///< not installed, or its state could not be obtained
    eServiceStatusNotRunning = 1,  ///< stopped, paused, or on its way from one state to another
    eServiceStatusRunning = 2
};

/// The state of a system service, by its internal UTF-8 name. A service manager that cannot be reached is a
/// warning; a service that is not installed is none. On Linux always unknown. Any thread.
QV_API eServiceStatus getServiceStatus(const std::string& serviceName);

}  // namespace QvPlatform
