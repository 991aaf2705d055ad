#include "os/Environment.h"

#include <cstdlib>

namespace os {

const char kPathListSeparator = ':';

std::optional<std::string> readVariable(const std::string& name) {
    // The table is searched for "name=", which a name with an equals sign may match in its middle.
    const char* value = name.find('=') == std::string::npos ? std::getenv(name.c_str()) : nullptr;
    if (!value) return std::nullopt;
    return value;
}

bool writeVariable(const std::string& name, const std::string& value) {
    return setenv(name.c_str(), value.c_str(), 1) == 0;
}

void removeVariable(const std::string& name) { unsetenv(name.c_str()); }

}  // namespace os
