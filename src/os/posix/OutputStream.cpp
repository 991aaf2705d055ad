// A file that is open for appending has a shared lock. A process that removes a file takes an exclusive lock
// first, so it never removes an open one. If a file was removed before it could be locked, it is opened
// again. Network file systems grant shared locks only to readers and exclusive locks only to writers, so
// files are opened for both.

#include "os/OutputStream.h"

#include "base/SpinThenLock.h"
#include "os/Cancellation.h"
#include "os/posix/PathWalk.h"
#include "os/posix/PosixSupport.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <initializer_list>
#include <new>
#include <utility>

namespace os {
namespace {

constexpr int kAttempts = 100;
constexpr useconds_t kPause = 1000;  // microseconds; removing a file takes less

// If the file system has no locks, the file is used without one, and is never removed.
bool lockShared(int file) {
    for (int i = 0; i < kAttempts; ++i) {
        if (flock(file, LOCK_SH | LOCK_NB) == 0 || errno != EWOULDBLOCK) return true;
        usleep(kPause);
    }
    return false;
}

bool isRemoved(int file) {
    struct stat status {};
    return fstat(file, &status) == 0 && status.st_nlink == 0;
}

// Uses the first kind of access that this user has.
posix::Descriptor openBy(int directory, const std::string& name, int flags,
                         std::initializer_list<int> accesses) {
    for (const int access : accesses) {
        posix::Descriptor file(
            openat(directory, name.c_str(), access | flags | O_NONBLOCK | O_CLOEXEC, 0666));
        if (file) return file;
    }
    return posix::Descriptor();
}

bool isOwnFileIn(int directory, int file) {
    struct stat above {};
    struct stat status {};
    return fstat(directory, &above) == 0 && fstat(file, &status) == 0 && S_ISREG(status.st_mode) &&
           !posix::mayBeTrap(above, status);
}

// Follows links, except those that may be a trap. Non-blocking, because opening a pipe without a reader would
// block. If a link is put there after the walk, the walk is repeated.
posix::Descriptor openToAppend(const std::string& path) {
    for (int i = 0; i < kAttempts; ++i) {
        const auto end = posix::walkPath(path, posix::isNoTrapLink);
        if (!end) break;
        posix::Descriptor file = openBy(end->directory.get(), end->name,
                                        O_APPEND | O_CREAT | O_NOFOLLOW | O_NOCTTY, {O_RDWR, O_WRONLY});
        if (file && isOwnFileIn(end->directory.get(), file.get()))
            return posix::apartFromStreams(std::move(file));
        if (file || errno != ELOOP) break;
    }
    return posix::Descriptor();
}

// If the file cannot be opened or locked for lack of access, its use is unknown, and a purge treats it as
// unused.
bool isFree(const posix::Descriptor& file) {
    if (!file) return errno == EACCES;
    return flock(file.get(), LOCK_EX | LOCK_NB) == 0 || errno == EBADF;
}

// Cancellation is delayed: Clang assumes that the C library's stream functions never unwind, and omits the
// destructors that would unlock.
class StandardErrorLock {
public:
    StandardErrorLock() {
        base::spinThenLock([] { return ftrylockfile(stderr) == 0; }, [] { flockfile(stderr); });
    }
    StandardErrorLock(const StandardErrorLock&) = delete;
    StandardErrorLock& operator=(const StandardErrorLock&) = delete;
    ~StandardErrorLock() { funlockfile(stderr); }

private:
    const CancellationShield shield_;
};

}  // namespace

AppendedFile openForAppending(const std::string& path) {
    try {
        for (;;) {
            posix::Descriptor file = openToAppend(path);
            if (!file || !lockShared(file.get()) || !isRemoved(file.get())) return file.release();
        }
    } catch (const std::bad_alloc&) {
        return kNoFile;
    }
}

std::size_t append(AppendedFile file, std::string_view text) noexcept {
    return posix::writeAll(static_cast<int>(file), text);
}

void closeAppended(AppendedFile file) noexcept { close(static_cast<int>(file)); }

// Uses the C library's stream, because a program may have redirected it or given it a buffer. The C library
// releases the stream's lock in a forked child.
void writeToStandardError(std::string_view text) {
    {
        const StandardErrorLock lock;
        fwrite_unlocked(text.data(), 1, text.size(), stderr);
    }
    pthread_testcancel();
}

bool removeUnlessOpen(const std::string& path, std::string& error) {
    const posix::Descriptor file = openBy(AT_FDCWD, path, 0, {O_RDWR, O_RDONLY, O_WRONLY});
    if (isFree(file)) {
        // Another process was faster, and the path may belong to a new file now.
        if (file && isRemoved(file.get())) return true;
        if (unlink(path.c_str()) == 0) return true;
    }
    error = posix::errorText(errno);
    return false;
}

}  // namespace os
