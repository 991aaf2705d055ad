#pragma once

#include "support/TemporaryFolder.h"

#include <string>

#ifdef _WIN32
#include <windows.h>
#endif

namespace support {

/// Makes a hidden file, or a hidden directory when the name ends with "/". An attribute hides it on
/// Windows and a dot before its name on Linux. The result is its name, without a final "/".
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
