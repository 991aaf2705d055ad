#pragma once

#include <optional>
#include <string>

namespace os {

struct ServiceState {
    std::optional<unsigned long>
        managerError;               ///< the system's error code if the service manager is unreachable
    std::optional<bool> isRunning;  ///< nothing if the service is not installed or cannot be queried
};

/// The state of an installed service, by its UTF-8 name; both are nothing on systems without a service
/// manager.
ServiceState serviceState(const std::string& name);

}  // namespace os
