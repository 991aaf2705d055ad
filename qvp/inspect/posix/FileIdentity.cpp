#include "inspect/PluginFinder.h"

#include <sys/stat.h>

namespace qvp {

std::string regularFileIdentity(const std::string& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return {};
    return std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino);
}

}  // namespace qvp
