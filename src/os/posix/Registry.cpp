#include "os/Registry.h"

#include <cerrno>

namespace os {

long writeRegistryText(Hive /*hive*/, const std::string& /*key*/, const std::string& /*name*/,
                       const std::string& /*value*/) {
    return ENOSYS;
}

long readRegistryText(Hive /*hive*/, const std::string& /*key*/, const std::string& /*name*/,
                      std::string& /*value*/) {
    return ENOSYS;
}

long listRegistryKeys(Hive /*hive*/, const std::string& /*key*/, std::vector<std::string>& /*names*/) {
    return ENOSYS;
}

long deleteRegistryKey(Hive /*hive*/, const std::string& /*key*/) { return ENOSYS; }

}  // namespace os
