#pragma once

#include "support/TemporaryFolder.h"

#include <string>

#ifdef _WIN32
#include <windows.h>
#endif

namespace support {

/// Creates a hidden file, or a hidden directory if the name ends with "/". It is hidden by an attribute on
/// Windows and by a dot before its name on Linux. Returns its name, without a final "/".
inline std::string addHidden(const TemporaryFolder& folder, std::string name) {
    const bool isDirectory = name.back() == '/';
    if (isDirectory) name.pop_back();
#ifndef _WIN32
    name.insert(0, ".");
#endif
    isDirectory ? folder.addDirectory(name) : folder.addFile(name);
#ifdef _WIN32
    SetFileAttributesW(pathOf(folder.path() + name).c_str(), FILE_ATTRIBUTE_HIDDEN);
#endif
    return name;
}

}  // namespace support
