#pragma once

#include <cstring>
#include <string>

/// What the files of this folder share: error texts.
namespace os::posix {

inline std::string errorText(int code) {
    char buffer[256] = "";
    return strerror_r(code, buffer, sizeof buffer);
}

}  // namespace os::posix
