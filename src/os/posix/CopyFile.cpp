#include "os/CopyFile.h"

#include "os/FileOperations.h"
#include "os/FileSystem.h"
#include "os/posix/Gate.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string_view>
#include <vector>

namespace os {
namespace {

using posix::Descriptor;

constexpr int kBufferSize = 1 << 16;

bool writeAll(int target, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t written = write(target, bytes.data(), bytes.size());
        if (written < 0 && errno != EINTR) return false;
        if (written > 0) bytes.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

bool copyByReading(int source, int target) {
    std::vector<char> buffer(kBufferSize);
    for (;;) {
        const ssize_t count = read(source, buffer.data(), buffer.size());
        if (count == 0) return true;
        if (count < 0 && errno != EINTR) return false;
        if (count > 0 && !writeAll(target, {buffer.data(), static_cast<std::size_t>(count)})) return false;
    }
}

// The system copies a large file by itself as far as it can; where it cannot, or knows no length, the rest is
// read.
bool copyContent(int source, int target, off_t size) {
    constexpr std::size_t kPiece = std::size_t{1} << 30U;
    while (size > kBufferSize && copy_file_range(source, nullptr, target, nullptr, kPiece, 0) > 0) {
    }
    return copyByReading(source, target);
}

// A file beside the target, under a name of its own until it is whole; removed if it never gets there.
class Draft {
public:
    explicit Draft(const std::string& target)
        : path_(target.substr(0, target.rfind('/') + 1) + ".qv-XXXXXX"),
          file_(mkostemp(path_.data(), O_CLOEXEC)),
          exists_(file_) {}
    Draft(const Draft&) = delete;
    Draft& operator=(const Draft&) = delete;
    ~Draft() {
        if (exists_) unlink(path_.c_str());
    }

    bool fill(int source, const struct stat& status) {
        const timespec times[] = {status.st_atim, status.st_mtim};
        return exists_ && copyContent(source, file_.get(), status.st_size) &&
               fchmod(file_.get(), status.st_mode & 0777U) == 0 && futimens(file_.get(), times) == 0 &&
               file_.close();
    }

    bool publish(const std::string& target, bool overwrite) {
        const bool done = overwrite ? rename(path_.c_str(), target.c_str()) == 0
                                    : moveWithoutReplacing(widen(path_), widen(target));
        exists_ = !done;
        return done;
    }

private:
    std::string path_;
    Descriptor file_;
    bool exists_;
};

// Where a copy goes that is asked for at this path: a link to a file is followed.
std::string targetOf(const std::wstring& path) {
    const auto resolved = isLink(path) ? canonicalPath(path) : std::nullopt;
    return narrow(resolved.value_or(path));
}

bool mayReplace(const std::string& target, const struct stat& source, bool overwrite) {
    struct stat status {};
    if (lstat(target.c_str(), &status) != 0) return errno == ENOENT;
    const bool isSource = status.st_dev == source.st_dev && status.st_ino == source.st_ino;
    if (!overwrite || isSource || S_ISDIR(status.st_mode)) return false;
    return S_ISLNK(status.st_mode) || (S_ISREG(status.st_mode) && access(target.c_str(), W_OK) == 0);
}

std::optional<std::string> linkText(const std::string& path) {
    std::vector<char> buffer(PATH_MAX);
    const ssize_t length = readlink(path.c_str(), buffer.data(), buffer.size());
    if (length < 0) return std::nullopt;
    return std::string(buffer.data(), static_cast<std::size_t>(length));
}

}  // namespace

bool copyFile(const std::wstring& from, const std::wstring& to, bool overwrite) {
    // Without waiting: a pipe that nobody writes to would block.
    const Descriptor source(open(narrow(from).c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat status {};
    if (!source || fstat(source.get(), &status) != 0 || !S_ISREG(status.st_mode)) return false;
    const std::string target = targetOf(to);
    if (!mayReplace(target, status, overwrite)) return false;
    Draft draft(target);
    return draft.fill(source.get(), status) && draft.publish(target, overwrite);
}

bool copyLink(const std::wstring& from, const std::wstring& to, bool overwrite) {
    const std::string target = posix::withoutFinalSlash(to);
    const auto text = linkText(posix::withoutFinalSlash(from));
    if (!text) return false;
    if (symlink(text->c_str(), target.c_str()) == 0) return true;
    return errno == EEXIST && overwrite && unlink(target.c_str()) == 0 &&
           symlink(text->c_str(), target.c_str()) == 0;
}

}  // namespace os
