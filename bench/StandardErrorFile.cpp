#include "StandardErrorFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <stdexcept>

namespace bench {
namespace {

int openTemporaryFile() {
    std::string path = (std::filesystem::temp_directory_path() / "qv-bench-XXXXXX").string();
    const int file = mkostemp(path.data(), O_APPEND | O_CLOEXEC);
    if (file < 0) throw std::runtime_error("cannot make the file " + path);
    unlink(path.c_str());
    return file;
}

void check(bool succeeded) {
    if (!succeeded) throw std::runtime_error("cannot redirect the standard error stream");
}

}  // namespace

StandardErrorFile::StandardErrorFile() : file_(openTemporaryFile()), standardError_(dup(STDERR_FILENO)) {
    check(standardError_ >= 0 && dup2(file_, STDERR_FILENO) >= 0);
}

StandardErrorFile::~StandardErrorFile() {
    dup2(standardError_, STDERR_FILENO);
    close(standardError_);
    close(file_);
}

void StandardErrorFile::clear() { check(ftruncate(file_, 0) == 0); }

std::string StandardErrorFile::text() const {
    struct stat status {};
    check(fstat(file_, &status) == 0);
    std::string text(static_cast<std::size_t>(status.st_size), '\0');
    check(pread(file_, text.data(), text.size(), 0) == status.st_size);
    return text;
}

}  // namespace bench
