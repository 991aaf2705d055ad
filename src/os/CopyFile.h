#pragma once

#include <string>

namespace os {

/// Copies a regular file with its permissions and its modification time, the latter two where the target's
/// file system keeps them. False for any other source, for an existing target unless `overwrite`, and for a
/// copy onto itself. On Linux the target appears or changes as a whole, and stays as it was when the copy
/// fails.
bool copyFile(const std::wstring& from, const std::wstring& to, bool overwrite);

}  // namespace os
