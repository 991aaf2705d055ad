// A file that is open for appending carries a shared lock. Who removes one takes an exclusive lock first, so
// the two never meet; and who opens one that was removed in between opens it anew. Network file systems grant
// a shared lock to readers only and an exclusive one to writers only, so files are opened for both.

#include "os/OutputStream.h"

#include "base/SpinThenLock.h"
#include "os/Cancellation.h"
#include "os/posix/PosixSupport.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <initializer_list>

namespace os {
namespace {

constexpr int kAttempts = 100;
constexpr useconds_t kPause = 1000;  // microseconds: removing takes less

// Where there are no locks, the file is used without one, and nobody removes it.
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

// By the first kind of access that this user has.
posix::Descriptor openBy(const std::string& path, int flags, std::initializer_list<int> accesses) {
    for (const int access : accesses) {
        posix::Descriptor file(open(path.c_str(), access | flags | O_CLOEXEC, 0666));
        if (file) return file;
    }
    return posix::Descriptor();
}

// Without access, whether by opening or for the lock, nobody can tell, and a purge counts the file as free.
bool isFree(const posix::Descriptor& file) {
    if (!file) return errno == EACCES;
    return flock(file.get(), LOCK_EX | LOCK_NB) == 0 || errno == EBADF;
}

// A cancellation is put off: Clang takes the calls of the C library's streams for such that never unwind, and
// drops the destructors that would unlock.
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
    if (path.find('\0') != std::string::npos) return kNoFile;
    for (;;) {
        posix::Descriptor file = openBy(path, O_APPEND | O_CREAT, {O_RDWR, O_WRONLY});
        if (!file || !lockShared(file.get()) || !isRemoved(file.get())) return file.release();
    }
}

std::size_t append(AppendedFile file, std::string_view text) noexcept {
    return posix::writeAll(static_cast<int>(file), text);
}

void closeAppended(AppendedFile file) noexcept { close(static_cast<int>(file)); }

// By way of the C library's stream, which a program may have given a buffer or another place to write to. It
// frees that stream's lock in a forked child.
void writeToStandardError(std::string_view text) {
    {
        const StandardErrorLock lock;
        fwrite_unlocked(text.data(), 1, text.size(), stderr);
    }
    pthread_testcancel();
}

bool removeUnlessOpen(const std::string& path, std::string& error) {
    const posix::Descriptor file = openBy(path, O_NONBLOCK, {O_RDWR, O_RDONLY, O_WRONLY});
    if (isFree(file)) {
        // Another process was quicker, and the path may be a new file's by now.
        if (file && isRemoved(file.get())) return true;
        if (unlink(path.c_str()) == 0) return true;
    }
    error = posix::errorText(errno);
    return false;
}

}  // namespace os
