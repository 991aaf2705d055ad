#pragma once

#include "os/Filesystem.h"
#include "os/posix/PosixSupport.h"

#include <functional>
#include <string>

/// What is done by name within directories that are held open.
namespace os::posix {

/// Calls `visit` as `os::visitDirectory` does. False, and the reason in `errno`, if the directory cannot be
/// read.
bool visitDirectory(Descriptor directory, const std::function<void(const DirectoryEntry&)>& visit);

/// A name in an open directory, or a path and AT_FDCWD. An empty name is nowhere.
struct Place {
    int directory;
    std::string name;
};

/// As `os::copyFile`, but a link at `to` is never written through: with `overwrite` the copy takes its place.
/// A link at `from` is followed only if `followsLink`.
bool copyFile(const Place& from, bool followsLink, const Place& to, bool overwrite);

/// Makes a link with the same text. What is at `to`, which may be no directory, is replaced with `overwrite`
/// once the new link exists.
bool copyLink(const Place& from, const Place& to, bool overwrite);

/// As `os::moveWithoutReplacing`.
bool moveWithoutReplacing(const Place& from, const Place& to);

}  // namespace os::posix
