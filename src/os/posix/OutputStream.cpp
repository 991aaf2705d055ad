#include "os/OutputStream.h"

namespace os {

std::FILE* openForAppending(const std::string& path) { return std::fopen(path.c_str(), "ae"); }

}  // namespace os
