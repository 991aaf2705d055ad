#pragma once

#include "os/posix/PosixSupport.h"

#include <sys/stat.h>

#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace os::posix {

/// One existing entry on the way along a path, and the directory that it is in.
struct PathStep {
    const std::string& path;
    const struct stat& directory;
    const struct stat& entry;
};

/// The end of a path: a directory, open, and a name in it, which was not a link.
struct PathEnd {
    Descriptor directory;
    std::string name;
    bool exists;
};

/// Resolves a path name by name, as the system does. Calls `accepts` for the directory that it begins with
/// and for each entry, links included, before it is entered or followed. Returns nothing if `accepts` returns
/// false or the path leads nowhere; only the last entry may be missing.
std::optional<PathEnd> walkPath(std::string_view path, const std::function<bool(const PathStep&)>& accepts);

/// True if somebody else may have put the entry there as a trap: others may write the directory, and the
/// entry belongs neither to this process's user nor to the superuser.
bool mayBeTrap(const struct stat& directory, const struct stat& entry) noexcept;

/// For `walkPath`: accepts every entry except a link that may be a trap.
bool isNoTrapLink(const PathStep& step) noexcept;

/// True if it belongs to this process's user or to the superuser.
bool isOfTrustedUser(const struct stat& status) noexcept;
/// True if its group or everyone may write it. An access list counts as the group.
bool isWritableByOthers(const struct stat& status) noexcept;

}  // namespace os::posix
