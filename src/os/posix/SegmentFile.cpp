#include "os/posix/SegmentFile.h"

#include "os/Fnv.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
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
    return text.substr(0, kLongestName) + "%" + hexadecimal(fnv1a(name), 16);
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

bool isSameFile(const struct stat& a, const struct stat& b) {
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

}  // namespace

SegmentFile::SegmentFile(const std::string& name)
    : path_(std::string(kFolder) + "qv-" + std::to_string(geteuid()) + "-" + encoded(name) + ".segment") {}

// Who closes last removes the file, so one that was waited for may be gone.
bool SegmentFile::enter() {
    struct stat opened {};
    struct stat found {};
    for (;;) {
        file_.emplace(open(path_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
        const bool isOwn = *file_ && fstat(file_->get(), &opened) == 0 && opened.st_uid == geteuid();
        if (!isOwn || lockFile(file_->get(), LOCK_EX) != 0) break;
        const bool isThere = lstat(path_.c_str(), &found) == 0;
        size_ = static_cast<std::size_t>(found.st_size);
        if (isThere && isSameFile(opened, found)) return true;
    }
    file_.reset();
    return false;
}

void SegmentFile::leave() { lockFile(file_->get(), LOCK_UN); }

// What a killed holder left is made empty, and so zero, again.
bool SegmentFile::allocate(std::size_t size) {
    if (size_ != 0 && ftruncate(file_->get(), 0) != 0) return false;
    int error = EINTR;
    while (error == EINTR) error = posix_fallocate(file_->get(), 0, static_cast<off_t>(size));
    size_ = size;
    return error == 0;
}

bool SegmentFile::hold(std::size_t size) {
    isNew_ = lockRange(file_->get(), F_WRLCK);
    if (isNew_ && !allocate(size)) return false;
    return lockRange(file_->get(), F_RDLCK);
}

// The locks are given up in words: a process that was forked may have the same open file.
void SegmentFile::release() {
    if (!file_ || lockFile(file_->get(), LOCK_EX) != 0) return;
    struct stat opened {};
    struct stat found {};
    const bool isLast = lockRange(file_->get(), F_WRLCK);
    if (isLast && fstat(file_->get(), &opened) == 0 && lstat(path_.c_str(), &found) == 0 &&
        isSameFile(opened, found))
        unlink(path_.c_str());
    lockRange(file_->get(), F_UNLCK);
    leave();
    file_.reset();
}

}  // namespace os::posix
