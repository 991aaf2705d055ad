// The operations on directory trees. A link in a tree is a leaf.

#include <QvPlatform/filesystem/Filesystem.h>

#include "base/Utf.h"
#include "base/Wildcard.h"
#include "filesystem/TreeWalk.h"
#include "os/Cancellation.h"
#include "os/FileOperations.h"
#include "os/Filesystem.h"
#include "os/TreeCursor.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace QvPlatform::Filesystem {
namespace {

using TreeWalk::Entry;
using TreeWalk::Level;
using TreeWalk::Step;

class Removal {
public:
    explicit Removal(os::TreeCursor& tree) : tree_(tree) {}

    static bool keeps(const os::DirectoryEntry& entry) { return entry.isDirectory || !entry.isHidden; }
    Step enter(const Entry& entry) {
        if (!entry.isLink && tree_.enter(entry.name)) return Step::entered;
        return tree_.removeDirectory(entry.name) ? Step::passed : Step::failed;
    }
    bool finish(const Level& level) {
        return std::all_of(level.files.begin(), level.files.end(),
                           [&](const Entry& entry) { return tree_.removeFile(entry.name); });
    }
    bool left(const Entry& entry) { return tree_.removeDirectory(entry.name); }

private:
    os::TreeCursor& tree_;
};

class Copying {
public:
    Copying(os::TreeCursor& from, os::TreeCursor& to, bool overwrite)
        : from_(from), to_(to), root_(to.identity()), overwrite_(overwrite) {}

    static bool keeps(const os::DirectoryEntry& entry) { return Removal::keeps(entry); }
    Step enter(const Entry& entry) {
        if (entry.isLink) return from_.copyLink(entry.name, to_, overwrite_) ? Step::passed : Step::failed;
        // The walk may reach the copy itself in a way that paths do not show; without this test it would not
        // end.
        const bool canEnter = from_.enter(entry.name) && from_.identity() != root_ &&
                              to_.createDirectory(entry.name) && to_.enter(entry.name);
        return canEnter ? Step::entered : Step::failed;
    }
    bool finish(const Level& level) {
        return level.isComplete &&
               std::all_of(level.files.begin(), level.files.end(), [&](const Entry& entry) {
                   return from_.copyFile(entry.name, entry.isLink, to_, overwrite_);
               });
    }
    bool left(const Entry& /*entry*/) { return to_.leave(); }

private:
    os::TreeCursor& from_;
    os::TreeCursor& to_;
    os::FileIdentity root_;
    bool overwrite_;
};

class Search {
public:
    Search(os::TreeCursor& tree, const std::wstring& root, std::string_view pattern, bool recursive,
           std::vector<File>& out)
        : tree_(tree), path_(root), pattern_(pattern), recursive_(recursive), out_(out) {}

    bool keeps(const os::DirectoryEntry& entry) const {
        if (entry.isDirectory) return recursive_ && !entry.isLink;
        return !entry.isHidden && base::matchesWildcard(pattern_, entry.name, false);
    }
    Step enter(const Entry& entry) {
        if (!tree_.enter(entry.name)) return Step::passed;
        lengths_.push_back(path_.size());
        path_ += base::widen(entry.name) + L'/';
        return Step::entered;
    }
    bool finish(const Level& level) {
        for (const Entry& entry : level.files) {
            const std::wstring name = base::widen(entry.name);
            std::wstring path;
            path.reserve(path_.size() + name.size());
            path.append(path_).append(name);
            out_.push_back(File::fromWide(std::move(path)));
        }
        return true;
    }
    bool left(const Entry& /*entry*/) {
        path_.resize(lengths_.back());
        lengths_.pop_back();
        return true;
    }

private:
    os::TreeCursor& tree_;
    std::wstring path_;
    std::vector<std::size_t> lengths_;  // of the paths of the directories above
    std::string_view pattern_;
    bool recursive_;
    std::vector<File>& out_;
};

// True if `inner` is, or would be, `outer` or below it, with all links resolved.
bool liesWithin(const Directory& inner, const Directory& outer) {
    const auto outerPath = os::canonicalPath(outer.widePath());
    Directory existing = inner;
    while (!existing.exists() && !existing.widePath().empty() && !(existing.parent() == existing))
        existing = existing.parent();
    const auto innerPath = os::canonicalPath(existing.widePath());
    return outerPath && innerPath &&
           Directory::fromWide(*innerPath).widePath().starts_with(Directory::fromWide(*outerPath).widePath());
}

}  // namespace

bool copy(const Directory& src, const Directory& dst, bool overwrite) {
    const os::CancellationShield shield;
    if (!src.exists() || liesWithin(dst, src)) return false;
    os::TreeCursor from(src.widePath(), os::TreeUse::read);
    if (!from || !create(dst)) return false;
    os::TreeCursor to(dst.widePath(), os::TreeUse::write);
    return to && from.identity() != to.identity() && TreeWalk::walk(from, Copying(from, to, overwrite));
}

bool remove(const Directory& dir) {
    const os::CancellationShield shield;
    if (!dir.exists()) return false;
    {
        os::TreeCursor tree(dir.widePath(), os::TreeUse::remove);
        if (tree && !TreeWalk::walk(tree, Removal(tree))) return false;
    }
    return os::removeDirectory(dir.widePath());
}

std::vector<File> glob(const Directory& dir, const std::string& pattern, bool recursive) {
    std::vector<File> found;
    glob(dir, pattern, recursive, found);
    return found;
}

void glob(const Directory& dir, const std::string& pattern, bool recursive, std::vector<File>& out) {
    const os::CancellationShield shield;
    os::TreeCursor tree(dir.widePath(), os::TreeUse::read);
    if (tree) TreeWalk::walk(tree, Search(tree, dir.widePath(), pattern, recursive, out));
}

}  // namespace QvPlatform::Filesystem
