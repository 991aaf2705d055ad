#pragma once

#include <string>

/// What changes files and directories; each is done as a whole or refused with false. Paths are wide text
/// with "/" separators; those of directories may end with one.
namespace os {

enum class Audience { everyone, owner };

bool setCurrentDirectory(const std::wstring& path);

/// False when it exists or its parent does not.
bool createDirectory(const std::wstring& path);
/// Makes an empty file; false when anything of that name exists, also a link that leads nowhere.
bool createFile(const std::wstring& path, Audience audience);

/// Removes a file or a link to one.
bool removeFile(const std::wstring& path);
/// Removes an empty directory or a link to a directory.
bool removeDirectory(const std::wstring& path);

/// Copies a regular file with its permissions and its modification time, the latter two where the target's
/// file system keeps them. False for any other source, for an existing target unless `overwrite`, and for a
/// copy onto itself. On Linux the target appears or changes as a whole, and stays as it was when the copy
/// fails.
bool copyFile(const std::wstring& from, const std::wstring& to, bool overwrite);

/// False when the target exists; true when it is the source itself.
bool moveWithoutReplacing(const std::wstring& from, const std::wstring& to);

}  // namespace os
