#include "os/OutputStream.h"

#include "os/Utf.h"

namespace os {

std::FILE* openForAppending(const std::string& path) { return _wfopen(widen(path.c_str()).c_str(), L"aN"); }

}  // namespace os
