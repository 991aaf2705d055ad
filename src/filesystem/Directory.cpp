#include <QvPlatform/filesystem/Directory.h>

#include "base/Utf.h"
#include "filesystem/PathText.h"
#include "os/Filesystem.h"
#include "os/SystemPaths.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace QvPlatform {
namespace {

// Any address inside this library.
const char libraryAnchor = 0;

std::wstring wellKnownPath(Directory::WellKnownDirectory which) {
    switch (which) {
        case Directory::kCurrentDirectory:
            return os::currentDirectory();
        case Directory::kSystemDrive:
            return os::systemDrive();
        case Directory::kUserProfile:
            return os::userProfile();
        case Directory::kExecutableDirectory:
            return Directory(File::fromWide(os::executableFile())).widePath();
        case Directory::kLibraryDirectory:
            return Directory(File::fromWide(os::moduleContaining(&libraryAnchor))).widePath();
        case Directory::kTemporaryDirectory:
            return os::temporaryDirectory();
    }
    return {};
}

std::wstring_view withoutFinalSeparator(std::wstring_view path) {
    return path.substr(0, path.size() > 1 ? path.size() - 1 : path.size());
}

// Up to and including the separator; empty if there is none.
std::wstring_view upToSeparator(std::wstring_view path, std::size_t separator) {
    return path.substr(0, separator == std::wstring_view::npos ? 0 : separator + 1);
}

std::wstring_view upToLastSeparator(std::wstring_view path) { return upToSeparator(path, path.rfind(L'/')); }

bool isDirectory(const std::wstring& path) { return os::entryStatus(path).kind == os::EntryKind::directory; }

}  // namespace

const char Directory::SEPARATOR_NATIVE = '\\';
const char Directory::SEPARATOR_UNIVERSAL = '/';

Directory::Directory() = default;
Directory::Directory(const std::string& path)
    : path_(PathText::fromText(path, PathRules::PathKind::directory)) {}
Directory::Directory(const File& file) : path_(upToLastSeparator(file.widePath())) {}
Directory::Directory(WellKnownDirectory which) : path_(PathText::closed(wellKnownPath(which))) {}
Directory::Directory(const Directory& other) = default;
Directory::Directory(Directory&& other) noexcept = default;
Directory& Directory::operator=(const Directory& other) = default;
Directory& Directory::operator=(Directory&& other) noexcept = default;
Directory::~Directory() = default;

Directory Directory::fromWide(std::wstring path) {
    Directory directory;
    directory.path_ = PathText::closed(std::move(path));
    return directory;
}

bool Directory::operator<(const Directory& other) const {
    return PathRules::compareFolded(path_, other.path_) < 0;
}

bool Directory::operator==(const Directory& other) const {
    return PathRules::compareFolded(path_, other.path_) == 0;
}

std::string Directory::getName() const {
    return base::narrow(PathText::lastComponent(withoutFinalSeparator(path_)));
}

std::string Directory::toNativePath() const { return PathText::toText(path_, true, path_); }

std::string Directory::toUniversalPath() const { return base::narrow(path_); }

const std::wstring& Directory::widePath() const noexcept { return path_; }

std::string Directory::relativeTo(const Directory& base, bool native) const {
    const bool isBelow = PathRules::startsWithFolded(path_, base.path_);
    return PathText::toText(path_.substr(isBelow ? base.path_.size() : 0), native, path_);
}

bool Directory::exists() const { return isDirectory(path_); }

bool Directory::hasParent() const {
    const std::wstring_view path = withoutFinalSeparator(path_);
    const std::wstring_view candidate = upToLastSeparator(path);
    return candidate != upToSeparator(path, path.find(L'/')) && isDirectory(std::wstring(candidate));
}

bool Directory::hasDirectory(const std::string& name) const { return isDirectory(path_ + base::widen(name)); }

bool Directory::hasFile(const std::string& name) const { return file(name).exists(); }

Directory Directory::parent() const {
    return fromWide(PathRules::foldDots(std::wstring(upToLastSeparator(withoutFinalSeparator(path_)))));
}

Directory Directory::directory(const std::string& name) const {
    return fromWide(path_ + base::widen(PathRules::universal(name)));
}

File Directory::file(const std::string& name) const { return File::fromWide(path_ + base::widen(name)); }

std::vector<Directory> Directory::directories() const {
    std::vector<Directory> found;
    directories(found);
    return found;
}

void Directory::directories(std::vector<Directory>& out) const {
    os::visitDirectory(path_, [&](const os::DirectoryEntry& entry) {
        if (entry.isDirectory) out.push_back(fromWide(path_ + base::widen(entry.name)));
    });
}

std::vector<File> Directory::files() const {
    std::vector<File> found;
    files(found);
    return found;
}

void Directory::files(std::vector<File>& out) const {
    os::visitDirectory(path_, [&](const os::DirectoryEntry& entry) {
        if (!entry.isDirectory && !entry.isHidden)
            out.push_back(File::fromWide(path_ + base::widen(entry.name)));
    });
}

std::shared_ptr<Directory> Directory::commonRootOf(std::vector<Directory> dirs) {
    if (dirs.empty()) return nullptr;
    Directory candidate = dirs.front();
    const auto isBelowCandidate = [&](const Directory& dir) {
        return dir.path_.starts_with(candidate.path_);
    };
    while (!std::all_of(dirs.begin() + 1, dirs.end(), isBelowCandidate)) {
        if (!candidate.hasParent()) return nullptr;
        candidate = candidate.parent();
    }
    return std::make_shared<Directory>(std::move(candidate));
}

}  // namespace QvPlatform
