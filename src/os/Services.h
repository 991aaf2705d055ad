#pragma once

#include <optional>
#include <string>

namespace os {

struct ServiceState {
    std::optional<unsigned long>
        managerError;               ///< the system's code when its service manager is out of reach
    std::optional<bool> isRunning;  ///< nothing when the service is not installed or cannot be asked
};

/// The state of an installed service, by its UTF-8 name; both are nothing where there is no service manager.
ServiceState serviceState(const std::string& name);

}  // namespace os
