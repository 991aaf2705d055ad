#include "os/FileOperations.h"

#include "os/posix/Gate.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

namespace os {

bool setCurrentDirectory(const std::wstring& path) { return chdir(narrow(path).c_str()) == 0; }

bool createDirectory(const std::wstring& path) { return mkdir(narrow(path).c_str(), 0777) == 0; }

bool createFile(const std::wstring& path, Audience audience) {
    const mode_t mode = audience == Audience::Owner ? 0600 : 0666;
    return bool(posix::Descriptor(open(narrow(path).c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode)));
}

bool removeFile(const std::wstring& path) { return unlink(narrow(path).c_str()) == 0; }

bool removeDirectory(const std::wstring& path) {
    const std::string name = posix::withoutFinalSlash(path);
    return rmdir(name.c_str()) == 0 || (errno == ENOTDIR && unlink(name.c_str()) == 0);
}

bool moveWithoutReplacing(const std::wstring& from, const std::wstring& to) {
    const std::string source = posix::withoutFinalSlash(from);
    const std::string target = posix::withoutFinalSlash(to);
    struct stat status {};
    if (lstat(source.c_str(), &status) != 0) return false;
    if (source == target) return true;
    if (renameat2(AT_FDCWD, source.c_str(), AT_FDCWD, target.c_str(), RENAME_NOREPLACE) == 0) return true;
    if (errno != EINVAL && errno != ENOSYS) return false;
    // A file system that cannot refuse to replace. A second name for a file is refused when it is taken.
    if (!S_ISDIR(status.st_mode) && link(source.c_str(), target.c_str()) == 0)
        return unlink(source.c_str()) == 0;
    return lstat(target.c_str(), &status) != 0 && rename(source.c_str(), target.c_str()) == 0;
}

}  // namespace os
