#pragma once

#include <QvPlatform/filesystem/Directory.h>

#include "support/Platform.h"
#include "support/TemporaryFolder.h"

#include <chrono>
#include <thread>

namespace support {

/// The child program of the tests (tests/child), quoted for a command line. Its name contains a blank.
inline std::string childProgram() {
    const QvPlatform::Directory programs(QvPlatform::Directory::kExecutableDirectory);
    return "\"" + programs.toUniversalPath() + "child program" + (kWindows ? ".exe\"" : "\"");
}

/// Waits until another process makes the condition true. Returns false after half a minute.
template <typename Condition>
bool comesTrue(Condition condition) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!condition() && std::chrono::steady_clock::now() < end)
        std::this_thread::sleep_for(std::chrono::microseconds(100));
    return condition();
}

/// Waits until the file exists.
inline bool appears(const std::string& path) {
    return comesTrue([file = pathOf(path)] { return std::filesystem::exists(file); });
}

}  // namespace support
