#include "binary/FileContent.h"

#include "child/posix/Descriptor.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

namespace qvp {

struct FileContent::Record {
    explicit Record(Descriptor opened) : descriptor(std::move(opened)) {}

    Descriptor descriptor;
};

// Without waiting, which opening a pipe would do.
FileContent::FileContent(const std::string& path)
    : record_(std::make_unique<Record>(Descriptor(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)))) {
    struct stat status {};
    if (record_->descriptor.get() < 0 || fstat(record_->descriptor.get(), &status) != 0) {
        errorNumber_ = errno;
        errorText_ = std::strerror(errorNumber_);
        problem_ = errorNumber_ == ENOENT || errorNumber_ == ENOTDIR ? Problem::missing : Problem::unreadable;
        return;
    }
    if (!S_ISREG(status.st_mode)) problem_ = Problem::notAFile;
    size_ = static_cast<std::uint64_t>(status.st_size);
    modified_ = status.st_mtime;
}

FileContent::~FileContent() = default;

std::string FileContent::read(std::uint64_t offset, std::size_t count) const {
    if (offset >= size_) return {};
    std::string bytes(std::min<std::uint64_t>(count, size_ - offset), '\0');
    const ssize_t got =
        pread(record_->descriptor.get(), bytes.data(), bytes.size(), static_cast<off_t>(offset));
    bytes.resize(got < 0 ? 0 : static_cast<std::size_t>(got));
    return bytes;
}

std::intptr_t FileContent::handle() const noexcept { return record_->descriptor.get(); }

}  // namespace qvp
