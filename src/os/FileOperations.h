#pragma once

#include <string>

/// Operations that change files and directories. Each one is done completely or returns false. Paths are wide
/// text with "/" separators; directory paths may end with one.
namespace os {

enum class Audience { everyone, owner };

bool setCurrentDirectory(const std::wstring& path);

/// Returns false if it exists or its parent does not.
bool createDirectory(const std::wstring& path);
/// Creates an empty file. Returns false if anything with that name exists, including a dangling link.
bool createFile(const std::wstring& path, Audience audience);

/// Removes a file or a link to one.
bool removeFile(const std::wstring& path);
/// Removes an empty directory or a link to a directory.
bool removeDirectory(const std::wstring& path);

/// Copies a regular file, and its permissions and modification time if the target's file system supports
/// them. Returns false if the source is not a regular file, if the target exists and `overwrite` is false, or
/// if both are the same file. On Linux the target is replaced atomically: if the copy fails, it is unchanged.
bool copyFile(const std::wstring& from, const std::wstring& to, bool overwrite);

/// Copies a regular file, with permissions and time as `copyFile`, to a new file that is hidden; on Linux its
/// name must begin with a dot. On failure nothing is left, but a process that is killed meanwhile leaves an
/// incomplete file.
bool copyToHiddenFile(const std::wstring& from, const std::wstring& to);

/// Returns false if the target exists, but true if it is the source itself.
bool moveWithoutReplacing(const std::wstring& from, const std::wstring& to);

}  // namespace os
