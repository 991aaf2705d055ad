// In the order of their use: `enter`, `hold`, `leave` and, later, `release`; or `release` at once when one of
// them failed. What a failed opening made goes before its gate opens, so whoever enters next finds a whole
// segment or none. A file is never made smaller: a forked process may have it mapped and hold it no more.

#include "os/posix/SegmentFile.h"

#include "base/Fnv.h"
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

std::string hexadecimal(std::uint64_t number, int digits) {
    constexpr std::string_view kDigits = "0123456789ABCDEF";
    std::string text;
    for (int i = digits; i-- != 0;) text += kDigits[number >> static_cast<unsigned int>(4 * i) & 0xFU];
    return text;
}

bool isPlain(unsigned char byte) { return byte > ' ' && byte != '/' && byte != '%' && byte != 0x7F; }

// A text for each name that can be part of a file name; long ones are told apart by a hash.
std::string encoded(const std::string& name) {
    std::string text;
    for (const char c : name) {
        const auto byte = static_cast<unsigned char>(c);
        text += isPlain(byte) ? std::string(1, c) : "%" + hexadecimal(byte, 2);
    }
    if (text.size() <= kLongestName) return text;
    return text.substr(0, kLongestName) + "%" + hexadecimal(base::fnv1a(name), 16);
}

constinit GateEntry* entries = nullptr;
constinit unsigned int generation = 0;  // grows with each fork on the way to this process

// If a process is killed inside a gate, the gate must open, although its forked processes live.
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
    int result = 0;
    do {
        result = flock(file, operation);
    } while (result != 0 && errno == EINTR);
    return result;
}

// The range of the lock is of no account, as long as it is the same for all.
bool lockRange(int file, short kind) {
    struct flock range {};
    range.l_type = kind;
    range.l_whence = SEEK_SET;
    range.l_len = 1;
    return fcntl(file, F_OFD_SETLK, &range) == 0;
}

// Beyond the limit the system sends a signal that ends the process. A file that does not fit would deprive
// all other programs of memory until the system notices.
bool fits(int file, std::size_t size) {
    struct rlimit limit {};
    struct statvfs space {};
    if (getrlimit(RLIMIT_FSIZE, &limit) != 0 || size > limit.rlim_cur || fstatvfs(file, &space) != 0)
        return false;
    return space.f_blocks == 0 || size / space.f_bsize <= space.f_bavail;  // 0: without a limit
}

// In parts: a signal undoes the part under way, so all at once would never end under a fast timer.
bool allocate(int file, std::size_t size) {
    constexpr std::size_t kPart = std::size_t{1} << 24U;
    for (std::size_t begin = 0; begin < size; begin += kPart) {
        const auto length = static_cast<off_t>(std::min(kPart, size - begin));
        int error = EINTR;
        while (error == EINTR) error = posix_fallocate(file, static_cast<off_t>(begin), length);
        if (error != 0) return false;
    }
    return true;
}

}  // namespace

SegmentFile::SegmentFile(const std::string& name)
    : path_(std::string(kFolder) + "qv-" + std::to_string(geteuid()) + "-" + encoded(name) + ".segment") {}

bool SegmentFile::openFile(int flags) noexcept {
    const std::lock_guard guard(kSegments);
    generation_ = generation;
    file_.emplace(open(path_.c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW | flags, 0600));
    if (*file_) addEntry(entry_, file_->get());
    return static_cast<bool>(*file_);
}

void SegmentFile::closeFile() noexcept {
    const std::lock_guard guard(kSegments);
    removeEntry(entry_);
    file_.reset();
}

bool SegmentFile::look() noexcept { return fstat(file_->get(), &status_) == 0; }

bool SegmentFile::isOwn() noexcept { return look() && status_.st_uid == geteuid(); }

// Never waits for another user, who might keep the gate closed.
bool SegmentFile::lockGate() noexcept {
    if (lockFile(file_->get(), LOCK_EX | LOCK_NB) != 0 &&
        !(errno == EWOULDBLOCK && isOwn() && lockFile(file_->get(), LOCK_EX) == 0))
        return false;
    return isOwn();
}

// Who closes last removes the file, so one that was waited for may be gone.
bool SegmentFile::enter() noexcept {
    while (openFile(O_CREAT) && lockGate()) {
        isNew_ = status_.st_size == 0;
        const bool isNamed = status_.st_nlink != 0;
        const bool isLeftOver = isNamed && !isNew_ && lockRange(file_->get(), F_WRLCK);
        if (isNamed && !isLeftOver) return true;
        if (isLeftOver && unlink(path_.c_str()) != 0) break;
        closeFile();
    }
    closeFile();
    return false;
}

bool SegmentFile::hold(std::size_t size) noexcept {
    if (isNew_) {
        if (!fits(file_->get(), size) || !allocate(file_->get(), size)) return false;
        status_.st_size = static_cast<off_t>(size);
    }
    return lockRange(file_->get(), F_RDLCK);
}

void SegmentFile::leave() noexcept {
    lockFile(file_->get(), LOCK_UN);
    const std::lock_guard guard(kSegments);
    removeEntry(entry_);
}

// The gate is entered through another open file, because a forked process may have the same one for the hold.
// It would keep a lock of the gate if this process were killed now, and it would keep the hold if that were
// not given up in words.
void SegmentFile::release() noexcept {
    if (!file_) return;
    if (generation_ == generation) {
        bool isInside = entry_.descriptor >= 0 && look();
        lockRange(file_->get(), F_UNLCK);
        if (!isInside) {
            closeFile();
            isInside = openFile(0) && lockGate();
        }
        if (isInside && status_.st_nlink != 0 && lockRange(file_->get(), F_WRLCK)) unlink(path_.c_str());
    }
    closeFile();
}

}  // namespace os::posix
