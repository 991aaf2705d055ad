#pragma once

#include <QvPlatform/filesystem/Directory.h>

#include "support/TemporaryFolder.h"

#include <filesystem>
#include <string>

namespace support {

/// A file in the folder where the build places the specimens.
inline std::string specimenFile(const std::string& name) {
    using QvPlatform::Directory;
    return Directory(Directory::kExecutableDirectory).directory("qvp-plugins").file(name).toUniversalPath();
}

inline std::string specimen(const std::string& name) { return specimenFile(name + ".qvp"); }

/// Copies a specimen into a folder. Returns the path of the copy.
inline std::string copySpecimen(const std::string& name, const std::string& folder) {
    std::filesystem::copy_file(pathOf(specimenFile(name)), pathOf(folder + name));
    return folder + name;
}

}  // namespace support
