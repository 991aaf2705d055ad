// The operations on directory trees. Each directory is read once, completely, before anything in it changes,
// and a link in it is a leaf.

#include <QvPlatform/filesystem/Filesystem.h>

#include "core/Wildcard.h"
#include "os/CopyFile.h"
#include "os/FileOperations.h"
#include "os/FileSystem.h"
#include "os/Utf.h"

#include <algorithm>
#include <iterator>
#include <string_view>

namespace QvPlatform::Filesystem {
namespace {

struct Entry {
    std::wstring name;
    bool isLink;
};

struct Content {
    std::vector<Entry> directories;
    std::vector<Entry> files;  // visible ones
    bool isKnown = false;
};

Content contentOf(const std::wstring& directory) {
    Content content;
    content.isKnown = os::visitDirectory(directory, [&](const os::DirectoryEntry& entry) {
        if (entry.isDirectory)
            content.directories.push_back({os::widen(entry.name), entry.isLink});
        else if (!entry.isHidden)
            content.files.push_back({os::widen(entry.name), entry.isLink});
    });
    return content;
}

bool isMissing(const std::wstring& path) { return os::entryStatus(path).kind == os::EntryKind::Missing; }

bool copyTree(const std::wstring& from, const std::wstring& to, bool overwrite) {
    const Content content = contentOf(from);
    if (!content.isKnown || !create(Directory::fromWide(to))) return false;
    const auto copyDirectory = [&](const Entry& entry) {
        if (entry.isLink) return os::copyLink(from + entry.name, to + entry.name, overwrite);
        return !os::isLink(to + entry.name) &&
               copyTree(from + entry.name + L"/", to + entry.name + L"/", overwrite);
    };
    const auto copyEntry = [&](const Entry& entry) {
        const bool leadsNowhere = entry.isLink && isMissing(from + entry.name);
        return (leadsNowhere ? os::copyLink : os::copyFile)(from + entry.name, to + entry.name, overwrite);
    };
    return std::all_of(content.directories.begin(), content.directories.end(), copyDirectory) &&
           std::all_of(content.files.begin(), content.files.end(), copyEntry);
}

bool removeTree(const std::wstring& path) {
    const Content content = contentOf(path);
    const auto removeDirectory = [&](const Entry& entry) {
        return entry.isLink ? os::removeDirectory(path + entry.name) : removeTree(path + entry.name + L"/");
    };
    const auto removeFile = [&](const Entry& entry) { return os::removeFile(path + entry.name); };
    return std::all_of(content.directories.begin(), content.directories.end(), removeDirectory) &&
           std::all_of(content.files.begin(), content.files.end(), removeFile) && os::removeDirectory(path);
}

void findFiles(const std::wstring& directory, std::string_view pattern, bool recursive,
               std::vector<File>& out) {
    std::vector<std::wstring> subdirectories;
    std::vector<File> matches;
    os::visitDirectory(directory, [&](const os::DirectoryEntry& entry) {
        if (entry.isDirectory) {
            if (recursive && !entry.isLink) subdirectories.push_back(os::widen(entry.name));
        } else if (!entry.isHidden && Qv::detail::matchesWildcard(pattern, entry.name, false)) {
            matches.push_back(File::fromWide(directory + os::widen(entry.name)));
        }
    });
    for (const std::wstring& name : subdirectories) findFiles(directory + name + L"/", pattern, true, out);
    out.insert(out.end(), std::make_move_iterator(matches.begin()), std::make_move_iterator(matches.end()));
}

// Whether `inner` is or would be `outer` itself or below it, whatever links lead there.
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
    return src.exists() && !liesWithin(dst, src) && copyTree(src.widePath(), dst.widePath(), overwrite);
}

bool remove(const Directory& dir) {
    if (!dir.exists()) return false;
    return os::isLink(dir.widePath()) ? os::removeDirectory(dir.widePath()) : removeTree(dir.widePath());
}

std::vector<File> glob(const Directory& dir, const std::string& pattern, bool recursive) {
    std::vector<File> found;
    glob(dir, pattern, recursive, found);
    return found;
}

void glob(const Directory& dir, const std::string& pattern, bool recursive, std::vector<File>& out) {
    findFiles(dir.widePath(), pattern, recursive, out);
}

}  // namespace QvPlatform::Filesystem
