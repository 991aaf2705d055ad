#pragma once

#include "os/Filesystem.h"
#include "os/posix/PosixSupport.h"

#include <functional>
#include <string>

/// Visiting, copying and moving by name in open directories.
namespace os::posix {

/// As `os::visitDirectory`, once for an open directory. Returns false and sets `errno` if it cannot be read.
bool visitDirectory(int directory, const std::function<void(const DirectoryEntry&)>& visit);

/// A name in an open directory, or a path and AT_FDCWD. With an empty name, every function fails.
struct Place {
    int directory;
    std::string name;
};

/// As `os::copyFile`, but never writes through a link at `to`: with `overwrite` the copy replaces the link.
/// A link at `from` is followed only if `followsLink`.
bool copyFile(const Place& from, bool followsLink, const Place& to, bool overwrite);

/// Creates a link with the same text. With `overwrite`, replaces a file or link at `to`, but only after the
/// new link has been created; a directory at `to` is an error.
bool copyLink(const Place& from, const Place& to, bool overwrite);

/// As `os::moveWithoutReplacing`.
bool moveWithoutReplacing(const Place& from, const Place& to);

}  // namespace os::posix
