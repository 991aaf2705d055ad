#include "os/Environment.h"

#include <cstdlib>

namespace os {

const char kPathListSeparator = ':';

std::optional<std::string> readVariable(const std::string& name) {
    const char* value = std::getenv(name.c_str());
    if (!value) return std::nullopt;
    return value;
}

bool writeVariable(const std::string& name, const std::string& value) {
    return setenv(name.c_str(), value.c_str(), 1) == 0;
}

void removeVariable(const std::string& name) { unsetenv(name.c_str()); }

}  // namespace os
