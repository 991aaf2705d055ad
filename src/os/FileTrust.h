#pragma once

#include <optional>
#include <string>

namespace os {

/// A file or directory that users other than the trusted ones can change. Trusted are this process's user and
/// the superuser; on Windows this process's user, the administrators, the system and its installer.
struct WeakPoint {
    std::string path;  ///< absolute UTF-8 with "/" separators
    std::string why;   ///< "is writable by everyone"
};

/// The first weak point among the root, each directory and link on the way to `path`, and `path` itself;
/// nothing if only trusted users can change what is there. Each directory is judged before the entry in it is
/// looked at. So after a result of nothing, only a trusted user can replace the file or anything above it.
/// `path` is UTF-8 with "/" separators, and on Linux weak if it is not absolute. If it does not exist, the
/// result is about what exists of it.
std::optional<WeakPoint> findWeakPoint(const std::string& path);

}  // namespace os
