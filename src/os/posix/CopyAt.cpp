#include "os/FileOperations.h"

#include "os/Filesystem.h"
#include "os/RandomText.h"
#include "os/posix/OpenDirectories.h"
#include "os/posix/PathWalk.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

namespace os {
namespace {

using posix::Descriptor;
using posix::Place;

constexpr int kBufferSize = 1 << 16;

bool copyByReading(int source, int target) {
    const auto buffer = std::make_unique_for_overwrite<char[]>(kBufferSize);
    for (;;) {
        const ssize_t count =
            posix::retryOnInterrupt([&] { return read(source, buffer.get(), kBufferSize); });
        if (count <= 0) return count == 0;
        const std::string_view bytes(buffer.get(), static_cast<std::size_t>(count));
        if (posix::writeAll(target, bytes) != bytes.size()) return false;
    }
}

// Lets the system copy as much as it can of a large file. If it cannot, or if the length is unknown, the rest
// is read and written.
bool copyContent(int source, int target, off_t size) {
    constexpr std::size_t kPiece = std::size_t{1} << 30U;
    while (size > kBufferSize && copy_file_range(source, nullptr, target, nullptr, kPiece, 0) > 0) {
    }
    return copyByReading(source, target);
}

// An entry next to the target, with a temporary hidden name until it is complete. Removed if it is never
// completed.
class TemporaryEntry {
public:
    explicit TemporaryEntry(const Place& target) : target_(target) {}
    TemporaryEntry(const TemporaryEntry&) = delete;
    TemporaryEntry& operator=(const TemporaryEntry&) = delete;
    ~TemporaryEntry() {
        if (!entry_.name.empty()) unlinkat(entry_.directory, entry_.name.c_str(), 0);
    }

    // Calls `makeAt` with a directory and names in it until one is free.
    template <typename Make>
    bool make(Make makeAt) {
        constexpr int kTries = 100;
        const std::string folder = target_.name.substr(0, target_.name.rfind('/') + 1);
        for (int i = 0; i < kTries; ++i) {
            std::string name = folder + ".qv-" + randomText(6);
            if (makeAt(target_.directory, name.c_str())) {
                entry_.name = std::move(name);
                return true;
            }
            if (errno != EEXIST) return false;
        }
        return false;
    }

    bool publish(bool overwrite) {
        const bool done = overwrite ? renameat(entry_.directory, entry_.name.c_str(), target_.directory,
                                               target_.name.c_str()) == 0
                                    : posix::moveWithoutReplacing(entry_, target_);
        if (done) entry_.name.clear();
        return done;
    }

private:
    const Place& target_;
    Place entry_{target_.directory, {}};
};

// Only the content must be copied: some file systems store neither permissions nor times.
bool fill(Descriptor& copy, int source, const struct stat& status) {
    const timespec times[] = {status.st_atim, status.st_mtim};
    if (!copyContent(source, copy.get(), status.st_size)) return false;
    [[maybe_unused]] const int modeIgnored = fchmod(copy.get(), status.st_mode & 0777U);
    [[maybe_unused]] const int timesIgnored = futimens(copy.get(), times);
    return copy.close();
}

// Invalid if it is not a regular file. Non-blocking, because opening a pipe without a writer would block.
Descriptor openSource(const Place& from, bool followsLink, struct stat& status) {
    const int flags = O_RDONLY | O_CLOEXEC | O_NONBLOCK | (followsLink ? 0 : O_NOFOLLOW);
    Descriptor source(openat(from.directory, from.name.c_str(), flags));
    if (!source || fstat(source.get(), &status) != 0 || !S_ISREG(status.st_mode)) return Descriptor();
    return source;
}

bool mayReplace(const Place& target, const struct stat& source, bool overwrite) {
    const char* const name = target.name.c_str();
    struct stat status {};
    if (fstatat(target.directory, name, &status, AT_SYMLINK_NOFOLLOW) != 0) return errno == ENOENT;
    const bool isSource = status.st_dev == source.st_dev && status.st_ino == source.st_ino;
    if (!overwrite || isSource || S_ISDIR(status.st_mode)) return false;
    return S_ISLNK(status.st_mode) ||
           (S_ISREG(status.st_mode) && faccessat(target.directory, name, W_OK, AT_EACCESS) == 0);
}

}  // namespace

bool posix::copyFile(const Place& from, bool followsLink, const Place& to, bool overwrite) {
    struct stat status {};
    const Descriptor source = openSource(from, followsLink, status);
    if (!source || to.name.empty() || !mayReplace(to, status, overwrite)) return false;
    Descriptor file;
    TemporaryEntry copy(to);
    const auto create = [&](int directory, const char* name) {
        file = Descriptor(openat(directory, name, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
        return bool(file);
    };
    return copy.make(create) && fill(file, source.get(), status) && copy.publish(overwrite);
}

bool posix::copyLink(const Place& from, const Place& to, bool overwrite) {
    const auto text = linkText(from.directory, from.name.c_str());
    const auto link = [&](int directory, const char* name) {
        return symlinkat(text->c_str(), directory, name) == 0;
    };
    if (!text) return false;
    if (!overwrite) return link(to.directory, to.name.c_str());
    TemporaryEntry copy(to);
    return copy.make(link) && copy.publish(true);
}

// A link at the target's path is followed, but not one that may be a trap. The copy goes to where the walk
// ended, whatever becomes of the link meanwhile. A dangling link is replaced.
bool copyFile(const std::wstring& from, const std::wstring& to, bool overwrite) {
    const Place source{AT_FDCWD, posix::systemPath(from)};
    const Place target{AT_FDCWD, posix::systemPath(to)};
    if (!isLink(to)) return posix::copyFile(source, true, target, overwrite);
    bool isTrap = false;
    const auto end = posix::walkPath(target.name, [&](const posix::PathStep& step) {
        isTrap = !posix::isNoTrapLink(step);
        return !isTrap;
    });
    if (isTrap) return false;
    if (!end || !end->exists) return posix::copyFile(source, true, target, overwrite);
    return posix::copyFile(source, true, {end->directory.get(), end->name}, overwrite);
}

bool copyToHiddenFile(const std::wstring& from, const std::wstring& to) {
    struct stat status {};
    const std::string target = posix::systemPath(to);
    const Descriptor source = openSource({AT_FDCWD, posix::systemPath(from)}, true, status);
    if (!source) return false;
    Descriptor file(open(target.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    if (!file) return false;
    if (fill(file, source.get(), status)) return true;
    const int error = errno;
    unlink(target.c_str());
    errno = error;
    return false;
}

}  // namespace os
