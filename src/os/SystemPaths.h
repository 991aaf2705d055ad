#pragma once

#include <string>

/// Where the system keeps things. Results are wide text with "/" separators, as the system gives them
/// otherwise, and empty when the system does not know.
namespace os {

/// The rules by which a text is a path.
enum class PathStyle {
    windows,  ///< drive letters; letter case does not tell files apart
    posix     ///< one root, "/"; letter case does
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
/// The file of the loaded program or library that `address` lies in.
std::wstring moduleContaining(const void* address);

}  // namespace os
