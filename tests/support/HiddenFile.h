#pragma once

#include "TemporaryFolder.h"

#include <string>

#ifdef _WIN32
#include <windows.h>
#endif

namespace support {

/// The name under which the platform hides `name`: an attribute does it on Windows, a dot on Linux.
inline std::string hiddenName(const std::string& name) {
#ifdef _WIN32
    return name;
#else
    return "." + name;
#endif
}

inline void hide(const std::string& path) {
#ifdef _WIN32
    SetFileAttributesW(pathOf(path).c_str(), FILE_ATTRIBUTE_HIDDEN);
#else
    static_cast<void>(path);
#endif
}

/// The result is the name.
inline std::string addHiddenFile(const TemporaryFolder& folder, const std::string& name) {
    hide(folder.addFile(hiddenName(name)));
    return hiddenName(name);
}

inline std::string addHiddenFolder(const TemporaryFolder& folder, const std::string& name) {
    hide(folder.addDirectory(hiddenName(name)));
    return hiddenName(name);
}

}  // namespace support
