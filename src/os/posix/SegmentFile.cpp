// Call order: `enter`, `hold`, `leave`, and later `release`; if `enter` or `hold` fails, or what follows
// inside the gate, `release` at once. After a failed open a new file is removed before its gate opens, so the
// next process that enters finds a complete segment or none.
//
// The gate is a `flock` lock and the hold an open-file-description lock. Both belong to the open file, which
// a forked child shares. So the child closes its copies of files with an entered gate, and the hold is given
// up explicitly: closing alone would leave it to the child.
//
// `kSegments` guards the list of gates that were entered or are waited for. It is never held while waiting
// for a gate. A file never shrinks: a forked child may have it mapped without a hold.

#include "os/posix/SegmentFile.h"

#include "base/Fnv.h"
#include "base/Hexadecimal.h"
#include "os/ProcessLock.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <mutex>
#include <string_view>

namespace os::posix {
namespace {

constexpr std::string_view kFolder = "/dev/shm/";
constexpr std::size_t kLongestName = 200;  // of the 255 bytes that a file name may have

// A mark and upper-case digits: other processes find the file by them.
std::string marked(std::uint64_t number, std::size_t digits) {
    return "%" + base::hexadecimal(number, digits, base::kUpperHexadecimalDigits);
}

bool isPlain(unsigned char byte) { return byte > ' ' && byte != '/' && byte != '%' && byte != 0x7F; }

// Encodes a name as part of a file name; a hash distinguishes long names.
std::string encoded(const std::string& name) {
    std::string text;
    for (const char c : name) {
        const auto byte = static_cast<unsigned char>(c);
        text += isPlain(byte) ? std::string(1, c) : marked(byte, 2);
    }
    if (text.size() <= kLongestName) return text;
    return text.substr(0, kLongestName) + marked(base::fnv1a(name), 16);
}

constinit GateEntry* entries = nullptr;
constinit unsigned int generation = 0;  // incremented in the child by each fork

// If a process is killed inside a gate, the gate must open even though forked children live on.
void closeInheritedGates() {
    for (const GateEntry* entry = entries; entry; entry = entry->next) close(entry->descriptor);
    entries = nullptr;
    ++generation;
}

[[maybe_unused]] const int forkHandler = pthread_atfork(nullptr, nullptr, closeInheritedGates);

void addEntry(GateEntry& entry, int descriptor) {
    entry.descriptor = descriptor;
    entry.next = std::exchange(entries, &entry);
}

void removeEntry(GateEntry& entry) {
    entry.descriptor = -1;
    GateEntry** place = &entries;
    while (*place && *place != &entry) place = &(*place)->next;
    if (*place) *place = entry.next;
}

int lockFile(int file, int operation) {
    return retryOnInterrupt([=] { return flock(file, operation); });
}

// Any range works, as long as all processes use the same one.
bool lockRange(int file, short kind) {
    struct flock range {};
    range.l_type = kind;
    range.l_whence = SEEK_SET;
    range.l_len = 1;
    return fcntl(file, F_OFD_SETLK, &range) == 0;
}

// Allocating beyond the process's limit raises a signal that ends the process. A file larger than the free
// space would take the memory of all other programs before the allocation fails.
bool fits(int file, std::size_t size) {
    struct rlimit limit {};
    struct statvfs space {};
    if (getrlimit(RLIMIT_FSIZE, &limit) != 0 || size > limit.rlim_cur || fstatvfs(file, &space) != 0)
        return false;
    return space.f_blocks == 0 || size / space.f_bsize <= space.f_bavail;  // 0: unlimited
}

// In parts, because a signal undoes the current call: one large call would never end under a fast timer.
bool allocate(int file, std::size_t size) {
    constexpr std::size_t kPart = std::size_t{1} << 24U;
    for (std::size_t begin = 0; begin < size; begin += kPart) {
        const auto length = static_cast<off_t>(std::min(kPart, size - begin));
        if (retryOnReturnedInterrupt(
                [&] { return posix_fallocate(file, static_cast<off_t>(begin), length); }) != 0)
            return false;
    }
    return true;
}

bool isTrusted(const struct stat& status) {
    constexpr mode_t kOthers = S_IRWXG | S_IRWXO;
    return S_ISREG(status.st_mode) && status.st_uid == geteuid() && (status.st_mode & kOthers) == 0 &&
           status.st_nlink <= 1;
}

}  // namespace

SegmentFile::SegmentFile(const std::string& name)
    : path_(std::string(kFolder) + "qv-" + std::to_string(geteuid()) + "-" + encoded(name) + ".segment") {}

bool SegmentFile::openFile(int flags) noexcept {
    const std::lock_guard guard(kSegments);
    generation_ = generation;
    file_ = apartFromStreams(Descriptor(open(path_.c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW | flags, 0600)));
    if (file_) addEntry(entry_, file_.get());
    return static_cast<bool>(file_);
}

void SegmentFile::closeFile() noexcept {
    const std::lock_guard guard(kSegments);
    removeEntry(entry_);
    file_ = Descriptor();
}

bool SegmentFile::look() noexcept { return fstat(file_.get(), &status_) == 0; }

// Others can put a file of another kind there, or one that they may change, or a further name of this user's
// own files.
bool SegmentFile::isOwn() noexcept { return look() && isTrusted(status_); }

bool SegmentFile::isTaken() const noexcept {
    struct stat status {};
    return lstat(path_.c_str(), &status) == 0 && !isTrusted(status);
}

// Never waits for another user's file: its owner could keep the gate closed forever.
bool SegmentFile::lockGate() noexcept {
    if (lockFile(file_.get(), LOCK_EX | LOCK_NB) == 0) return isOwn();
    return errno == EWOULDBLOCK && isOwn() && lockFile(file_.get(), LOCK_EX) == 0 && isOwn();
}

// The last close removes the file, so the file may be gone by the time its gate is entered: then try again.
bool SegmentFile::enter() noexcept {
    while (openFile(O_CREAT) && lockGate()) {
        isNew_ = status_.st_size == 0;
        const bool isNamed = status_.st_nlink != 0;
        const bool isLeftOver = isNamed && !isNew_ && lockRange(file_.get(), F_WRLCK);
        if (isNamed && !isLeftOver) return true;
        if (isLeftOver && unlink(path_.c_str()) != 0) break;
        closeFile();
    }
    closeFile();
    return false;
}

bool SegmentFile::hold(std::size_t size) noexcept {
    if (isNew_) {
        if (!fits(file_.get(), size) || !allocate(file_.get(), size)) return false;
        status_.st_size = static_cast<off_t>(size);
    }
    return lockRange(file_.get(), F_RDLCK);
}

bool SegmentFile::leave() noexcept {
    if (lockFile(file_.get(), LOCK_UN) != 0) return false;
    const std::lock_guard guard(kSegments);
    removeEntry(entry_);
    return true;
}

// The gate is entered through a newly opened file: a forked child may share the old one, and would keep the
// gate locked if this process were killed now.
void SegmentFile::release() noexcept {
    if (!file_) return;
    if (generation_ == generation) {
        bool isInside = entry_.descriptor >= 0 && look();
        lockRange(file_.get(), F_UNLCK);
        if (!isInside) {
            closeFile();
            isInside = openFile(0) && lockGate();
        }
        if (isInside && status_.st_nlink != 0 && lockRange(file_.get(), F_WRLCK)) unlink(path_.c_str());
    }
    closeFile();
}

}  // namespace os::posix
