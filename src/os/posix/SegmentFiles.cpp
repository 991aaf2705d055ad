#include "os/posix/SegmentFiles.h"

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

// 64-bit FNV-1a.
std::uint64_t hashOf(std::string_view text) {
    std::uint64_t hash = 0xCBF29CE484222325;
    for (const char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3;
    return hash;
}

// A text for each name that can be part of a file name; long ones are told apart by a hash.
std::string encoded(const std::string& name) {
    std::string text;
    for (const char c : name) {
        const auto byte = static_cast<unsigned char>(c);
        text += isPlain(byte) ? std::string(1, c) : "%" + hexadecimal(byte, 2);
    }
    if (text.size() <= kLongestName) return text;
    return text.substr(0, kLongestName) + "%" + hexadecimal(hashOf(name), 16);
}

int lockFile(int file, int operation) {
    int result = 0;
    do {
        result = flock(file, operation);
    } while (result != 0 && errno == EINTR);
    return result;
}

// Nobody else may have put it there.
bool isOwn(int file) {
    struct stat status {};
    return fstat(file, &status) == 0 && status.st_uid == geteuid() && S_ISREG(status.st_mode);
}

bool isStillAt(int file, const std::string& path) {
    struct stat opened {};
    struct stat found {};
    return fstat(file, &opened) == 0 && lstat(path.c_str(), &found) == 0 && opened.st_dev == found.st_dev &&
           opened.st_ino == found.st_ino;
}

int openFile(const std::string& path, int flags) {
    return open(path.c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW | flags, 0600);
}

}  // namespace

SegmentFiles::SegmentFiles(const std::string& name) {
    const std::string path = std::string(kFolder) + "qv-" + std::to_string(geteuid()) + "-" + encoded(name);
    segmentPath_ = path + ".segment";
    gatePath_ = path + ".gate";
}

// Who closes last removes the gate, so one that was waited for may be gone.
bool SegmentFiles::enterGate() {
    for (;;) {
        if (!gate_) gate_.emplace(openFile(gatePath_, O_CREAT));
        const bool isLocked = *gate_ && isOwn(gate_->get()) && lockFile(gate_->get(), LOCK_EX) == 0;
        if (isLocked && isStillAt(gate_->get(), gatePath_)) return true;
        gate_.reset();
        if (!isLocked) return false;
    }
}

void SegmentFiles::leaveGate() { lockFile(gate_->get(), LOCK_UN); }

// What a killed holder left is made empty, and so zero, again.
bool SegmentFiles::allocate(std::size_t size) {
    if (size_ != 0 && ftruncate(segment_->get(), 0) != 0) return false;
    int error = EINTR;
    while (error == EINTR) error = posix_fallocate(segment_->get(), 0, static_cast<off_t>(size));
    size_ = size;
    return error == 0;
}

bool SegmentFiles::hold(std::size_t size) {
    struct stat status {};
    Descriptor file(openFile(segmentPath_, O_CREAT));
    if (!file || fstat(file.get(), &status) != 0 || status.st_uid != geteuid()) return false;
    segment_.emplace(std::move(file));
    size_ = static_cast<std::size_t>(status.st_size);
    isNew_ = lockFile(segment_->get(), LOCK_EX | LOCK_NB) == 0;
    if (isNew_ && !allocate(size)) return false;
    return lockFile(segment_->get(), LOCK_SH | LOCK_NB) == 0;
}

void SegmentFiles::release() {
    if (!gate_ || !enterGate()) return;
    const bool isHeld = segment_ && *segment_;
    const bool isLast =
        isHeld ? lockFile(segment_->get(), LOCK_EX | LOCK_NB) == 0 : access(segmentPath_.c_str(), F_OK) != 0;
    if (isLast && isHeld && isStillAt(segment_->get(), segmentPath_)) unlink(segmentPath_.c_str());
    if (isLast) unlink(gatePath_.c_str());
    // Said in words: a forked process may have the gate open too, and closing it here would leave it locked.
    leaveGate();
    segment_.reset();
    gate_.reset();
}

}  // namespace os::posix
