#pragma once

#include "os/Filesystem.h"

#include <functional>
#include <memory>
#include <string>

namespace os {

/// The purpose of walking a tree.
enum class TreeUse {
    read,
    write,  ///< directories need not be readable
    remove  ///< the root must not be a link
};

/// The current directory of a walk through a tree; moves one level at a time. It keeps the directories open
/// instead of using their paths, and never follows a link. So it stays within the tree, even if other
/// programs rename or replace directories during the walk. On Linux, depth and length of paths are unlimited,
/// and it uses at most eight descriptors. On Windows, a path has at most 32,767 characters, and other
/// programs can neither rename nor remove the directories from the root to the current one. Names are UTF-8
/// and single components. One thread at a time.
class TreeCursor {
public:
    /// Starts at the root. Invalid if the root is not a directory or cannot be opened.
    TreeCursor(const std::wstring& root, TreeUse use);
    TreeCursor(const TreeCursor&) = delete;
    TreeCursor& operator=(const TreeCursor&) = delete;
    ~TreeCursor();

    /// True if valid, which all other functions require.
    explicit operator bool() const noexcept { return state_ != nullptr; }
    FileIdentity identity() const;

    /// As `visitDirectory`. Call it at most once for each directory entered.
    bool visit(const std::function<void(const DirectoryEntry&)>& visit) const;

    /// Moves down. If `name` is a link, not a directory, or cannot be opened, returns false and does not
    /// move.
    bool enter(const std::string& name);
    /// Moves up. Returns false if the directory has been moved to another parent; the cursor is then
    /// unusable. Precondition: not at the root.
    bool leave();

    /// Also returns true if something with that name exists.
    bool createDirectory(const std::string& name);
    /// As the functions of the same names for paths.
    bool removeFile(const std::string& name);
    bool removeDirectory(const std::string& name);

    /// Copies an entry that is not a directory, under the same name. If it is a link, copies the file that
    /// the link points to, or the link itself if there is no such file. With `overwrite`, a link in `target`
    /// is replaced, never written through.
    bool copyFile(const std::string& name, bool isLink, const TreeCursor& target, bool overwrite) const;
    /// Copies a link as a link under the same name.
    bool copyLink(const std::string& name, const TreeCursor& target, bool overwrite) const;

private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace os
