#include "os/Environment.h"

#include <cstdlib>
#include <mutex>

namespace os {

const char kPathListSeparator = ':';

std::optional<std::string> readVariable(const std::string& name) {
    // The table is searched for "name=", so a name with an equals sign could match another variable.
    if (name.find('=') != std::string::npos) return std::nullopt;
    const std::lock_guard guard(kEnvironmentLock);
    const char* const value = std::getenv(name.c_str());
    if (!value) return std::nullopt;
    return value;
}

bool writeVariable(const std::string& name, const std::string& value) {
    const std::lock_guard guard(kEnvironmentLock);
    return setenv(name.c_str(), value.c_str(), 1) == 0;
}

void removeVariable(const std::string& name) {
    const std::lock_guard guard(kEnvironmentLock);
    unsetenv(name.c_str());
}

}  // namespace os
