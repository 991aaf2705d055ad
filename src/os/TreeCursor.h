#pragma once

#include "os/Filesystem.h"

#include <functional>
#include <memory>
#include <string>

namespace os {

/// What a tree is walked for.
enum class TreeUse {
    read,
    write,  ///< its directories need not be readable
    remove  ///< its root must not be a link either
};

/// A directory in a tree, which can be moved one level at a time. It holds the directories themselves, not
/// their paths, and enters no link. So it stays within the tree, whatever others rename or replace meanwhile.
/// Depth and length of paths are unlimited on Linux, where it holds at most eight descriptors; on Windows a
/// path has at most 32,767 characters and others can neither rename nor remove the directories from the root
/// to here. Names are UTF-8 and single components. One thread at a time.
class TreeCursor {
public:
    /// At the root, or nowhere if that is no directory or may not be opened.
    TreeCursor(const std::wstring& root, TreeUse use);
    TreeCursor(const TreeCursor&) = delete;
    TreeCursor& operator=(const TreeCursor&) = delete;
    ~TreeCursor();

    /// Whether it is anywhere; the other functions require that.
    explicit operator bool() const noexcept { return state_ != nullptr; }
    FileIdentity identity() const;

    /// As `visitDirectory`. At most once in a directory.
    bool visit(const std::function<void(const DirectoryEntry&)>& visit) const;

    /// Moves down. False, and it stays, if `name` is a link or no directory, or may not be opened.
    bool enter(const std::string& name);
    /// Moves up; not from the root. False if the directory is in another one now. The cursor is useless then.
    bool leave();

    /// True also when something of that name exists.
    bool createDirectory(const std::string& name);
    /// As the functions of these names for paths.
    bool removeFile(const std::string& name);
    bool removeDirectory(const std::string& name);

    /// Copies an entry that is no directory under the same name. A link is copied as its file, or as a link
    /// if it leads to none. With `overwrite` a link in `target` is replaced; nothing is ever written through
    /// it.
    bool copyFile(const std::string& name, bool isLink, const TreeCursor& target, bool overwrite) const;
    /// Copies a link as a link under the same name.
    bool copyLink(const std::string& name, const TreeCursor& target, bool overwrite) const;

private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace os
