#pragma once

#include <string>

/// Standard locations. Results are wide text with "/" separators, otherwise unchanged, and empty if
/// unavailable.
namespace os {

/// The rules for paths.
enum class PathStyle {
    windows,  ///< drive letters; ignores case
    posix     ///< one root, "/"; case-sensitive
};

PathStyle nativePathStyle();

/// Without a final "/", unless it is a root.
std::wstring currentDirectory();
/// The root on Linux.
std::wstring systemDrive();
std::wstring userProfile();
std::wstring temporaryDirectory();
/// The running program's file.
std::wstring executableFile();
/// The file of the loaded program or library that contains `address`.
std::wstring moduleContaining(const void* address);

}  // namespace os
