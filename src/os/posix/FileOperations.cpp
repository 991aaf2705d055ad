#include "os/FileOperations.h"

#include "os/Cancellation.h"
#include "os/posix/OpenDirectories.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

namespace os {

bool setCurrentDirectory(const std::wstring& path) { return chdir(posix::systemPath(path).c_str()) == 0; }

bool createDirectory(const std::wstring& path) { return mkdir(posix::systemPath(path).c_str(), 0777) == 0; }

bool createFile(const std::wstring& path, Audience audience) {
    const CancellationShield shield;
    const mode_t mode = audience == Audience::owner ? 0600 : 0666;
    const std::string name = posix::systemPath(path);
    return bool(posix::Descriptor(open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode)));
}

bool removeFile(const std::wstring& path) { return unlink(posix::systemPath(path).c_str()) == 0; }

bool removeDirectory(const std::wstring& path) {
    const std::string name = posix::withoutFinalSlash(path);
    return rmdir(name.c_str()) == 0 || (errno == ENOTDIR && unlink(name.c_str()) == 0);
}

bool moveWithoutReplacing(const std::wstring& from, const std::wstring& to) {
    return posix::moveWithoutReplacing({AT_FDCWD, posix::withoutFinalSlash(from)},
                                       {AT_FDCWD, posix::withoutFinalSlash(to)});
}

bool posix::moveWithoutReplacing(const Place& from, const Place& to) {
    const char* const source = from.name.c_str();
    const char* const target = to.name.c_str();
    struct stat status {};
    const auto hasSource = [&] { return fstatat(from.directory, source, &status, AT_SYMLINK_NOFOLLOW) == 0; };
    if (from.directory == to.directory && from.name == to.name) return hasSource();
    if (renameat2(from.directory, source, to.directory, target, RENAME_NOREPLACE) == 0) return true;
    if ((errno != EINVAL && errno != ENOSYS) || !hasSource()) return false;
    // The file system cannot rename without replacing. Creating a hard link fails if the target exists.
    if (!S_ISDIR(status.st_mode) && linkat(from.directory, source, to.directory, target, 0) == 0)
        return unlinkat(from.directory, source, 0) == 0;
    return fstatat(to.directory, target, &status, AT_SYMLINK_NOFOLLOW) != 0 &&
           renameat(from.directory, source, to.directory, target) == 0;
}

}  // namespace os
