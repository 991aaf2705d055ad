// A file that is open for appending carries a shared lock. Who removes one takes an exclusive lock first, so
// the two never meet; and who opens one that was removed in between opens it anew.

#include "os/OutputStream.h"

#include "os/SpinThenLock.h"
#include "os/posix/Gate.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

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

posix::Descriptor openLocked(const std::string& path) {
    for (;;) {
        posix::Descriptor file(open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666));
        if (!file || !lockShared(file.get()) || !isRemoved(file.get())) return file;
    }
}

}  // namespace

std::FILE* openForAppending(const std::string& path) {
    posix::Descriptor file = openLocked(path);
    std::FILE* const stream = file ? fdopen(file.get(), "a") : nullptr;
    if (!stream) return nullptr;
    file.release();
    std::setvbuf(stream, nullptr, _IONBF, 0);
    return stream;
}

void writeToStandardError(std::string_view text) {
    spinThenLock([] { return ftrylockfile(stderr) == 0; }, [] { flockfile(stderr); });
    fwrite_unlocked(text.data(), 1, text.size(), stderr);
    funlockfile(stderr);
}

bool removeUnlessOpen(const std::string& path, std::string& error) {
    const posix::Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    const bool isFree = file && flock(file.get(), LOCK_EX | LOCK_NB) == 0;
    // Another process was quicker, and the path may be a new file's by now.
    if (isFree && isRemoved(file.get())) return true;
    if (isFree && unlink(path.c_str()) == 0) return true;
    error = posix::errorText(errno);
    return false;
}

}  // namespace os
