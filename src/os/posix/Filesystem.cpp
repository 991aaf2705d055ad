#include "os/Filesystem.h"

#include "os/Cancellation.h"
#include "os/posix/OpenDirectories.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <memory>
#include <string_view>

namespace os {
namespace {

EntryKind kindOf(mode_t mode) {
    if (S_ISDIR(mode)) return EntryKind::directory;
    return S_ISREG(mode) ? EntryKind::regularFile : EntryKind::other;
}

bool leadsToDirectory(int directory, const char* name) {
    struct stat status {};
    return fstatat(directory, name, &status, 0) == 0 && S_ISDIR(status.st_mode);
}

bool isLinkEntry(int directory, const char* name) {
    struct stat status {};
    return fstatat(directory, name, &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISLNK(status.st_mode);
}

// Most file systems return the kind with the name, so that only links need another call.
DirectoryEntry describe(int directory, const dirent64& entry) {
    const bool isKnown = entry.d_type != DT_UNKNOWN;
    const bool isLink = isKnown ? entry.d_type == DT_LNK : isLinkEntry(directory, entry.d_name);
    const bool isDirectory =
        isKnown && !isLink ? entry.d_type == DT_DIR : leadsToDirectory(directory, entry.d_name);
    return {entry.d_name, isDirectory, isLink, entry.d_name[0] == '.'};
}

// Non-blocking, because opening a pipe without a writer would block.
posix::Descriptor openToRead(const std::wstring& path) {
    return posix::Descriptor(open(posix::systemPath(path).c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
}

struct EntryBuffer {
    alignas(dirent64) char bytes[32'768];
};

}  // namespace

EntryStatus entryStatus(const std::wstring& path) {
    struct stat status {};
    if (stat(posix::systemPath(path).c_str(), &status) != 0) return {};
    return {kindOf(status.st_mode), FileIdentity{status.st_dev, status.st_ino}};
}

bool isReadableFile(const std::wstring& path) {
    const CancellationShield shield;
    const posix::Descriptor file = openToRead(path);
    struct stat status {};
    return file && fstat(file.get(), &status) == 0 && S_ISREG(status.st_mode);
}

bool isLink(const std::wstring& path) {
    struct stat status {};
    return lstat(posix::withoutFinalSlash(path).c_str(), &status) == 0 && S_ISLNK(status.st_mode);
}

std::optional<std::wstring> canonicalPath(const std::wstring& path) {
    const posix::MallocText real(realpath(posix::systemPath(path).c_str(), nullptr));
    if (!real) return std::nullopt;
    return base::widen(real.get());
}

std::optional<std::int64_t> modificationTime(const std::wstring& path) {
    struct stat status {};
    if (stat(posix::systemPath(path).c_str(), &status) != 0) return std::nullopt;
    return status.st_mtime;
}

std::optional<FileStamp> fileStamp(const std::wstring& path) {
    constexpr std::int64_t kNanosecondsPerSecond = 1'000'000'000;
    struct stat status {};
    if (stat(posix::systemPath(path).c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
    return FileStamp{static_cast<std::uint64_t>(status.st_size),
                     status.st_mtim.tv_sec * kNanosecondsPerSecond + status.st_mtim.tv_nsec,
                     {status.st_dev, status.st_ino}};
}

std::optional<std::size_t> readPart(const std::wstring& path, std::uint64_t offset, std::string& piece) {
    const CancellationShield shield;
    const posix::Descriptor file = openToRead(path);
    std::size_t size = 0;
    while (size < piece.size()) {
        const ssize_t more = posix::retryOnInterrupt([&] {
            return pread(file.get(), piece.data() + size, piece.size() - size,
                         static_cast<off_t>(offset + size));
        });
        if (more < 0) return std::nullopt;
        if (more == 0) break;
        size += static_cast<std::size_t>(more);
    }
    return size;
}

bool visitDirectory(const std::wstring& directory, const std::function<void(const DirectoryEntry&)>& visit,
                    std::string* error) {
    const CancellationShield shield;
    const std::string name = posix::systemPath(directory);
    const posix::Descriptor opened(open(name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (opened && posix::visitDirectory(opened.get(), visit)) return true;
    if (error) *error = posix::errorText(errno);
    return false;
}

bool posix::visitDirectory(int directory, const std::function<void(const DirectoryEntry&)>& visit) {
    const auto buffer = std::make_unique_for_overwrite<EntryBuffer>();
    for (;;) {
        const ssize_t size = getdents64(directory, buffer->bytes, sizeof buffer->bytes);
        // Some file systems report ENOENT for a directory that has been removed.
        if (size <= 0) return size == 0 || errno == ENOENT;
        for (ssize_t next = 0; next < size;) {
            const auto& entry = *reinterpret_cast<const dirent64*>(buffer->bytes + next);
            const std::string_view name = entry.d_name;
            if (name != "." && name != "..") visit(describe(directory, entry));
            next += entry.d_reclen;
        }
    }
}

}  // namespace os
