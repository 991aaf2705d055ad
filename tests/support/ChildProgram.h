#pragma once

#include <QvPlatform/filesystem/Directory.h>

#include "support/Platform.h"
#include "support/TemporaryFolder.h"

#include <chrono>
#include <thread>

namespace support {

/// How a command line calls the program that tests start, tests/child. Its name holds a blank.
inline std::string childProgram() {
    const QvPlatform::Directory programs(QvPlatform::Directory::kExecutableDirectory);
    return "\"" + programs.toUniversalPath() + "child program" + (kWindows ? ".exe\"" : "\"");
}

/// Waits until somebody has made the file; false after half a minute.
inline bool appears(const std::string& path) {
    for (int i = 0; i < 3000 && !std::filesystem::exists(pathOf(path)); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    return std::filesystem::exists(pathOf(path));
}

}  // namespace support
