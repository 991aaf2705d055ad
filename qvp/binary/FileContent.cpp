#include "binary/FileContent.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <system_error>
#include <utility>

namespace qvp {
namespace {

namespace fs = std::filesystem;

// Throws if the system has no such path, which happens on Windows for text that is not UTF-8.
fs::path pathOf(const std::string& utf8) { return std::u8string(utf8.begin(), utf8.end()); }

// Windows has no status for a directory with a slash at its end.
fs::path withoutFinalSlash(const fs::path& path) { return path.has_filename() ? path : path.parent_path(); }

const char* nameOf(fs::file_type type) {
    switch (type) {
        case fs::file_type::directory:
            return "a directory";
        case fs::file_type::fifo:
            return "a named pipe";
        case fs::file_type::socket:
            return "a socket";
        case fs::file_type::block:
        case fs::file_type::character:
            return "a device";
        default:
            return "something else";
    }
}

std::int64_t secondsSince1970(fs::file_time_type time) {
    using std::chrono::seconds;
    return std::chrono::floor<seconds>(fs::file_time_type::clock::to_sys(time)).time_since_epoch().count();
}

}  // namespace

FileContent::FileContent(std::unique_ptr<std::istream> stream, std::uint64_t size)
    : stream_(std::move(stream)), size_(size) {}

FileContent::FileContent(const std::string& path) {
    try {
        open(path);
    } catch (const std::exception&) {
        fail(EILSEQ);
    }
}

FileContent FileContent::ofBytes(std::string bytes) {
    const std::uint64_t size = bytes.size();
    return {std::make_unique<std::istringstream>(std::move(bytes)), size};
}

FileContent::~FileContent() = default;

void FileContent::open(const std::string& path) {
    const fs::path native = pathOf(path);
    std::error_code error;
    const bool isDirectory = fs::is_directory(withoutFinalSlash(native), error);
    const fs::file_type type = isDirectory ? fs::file_type::directory : fs::status(native, error).type();
    if (error) return failAt(native, error);
    if (type != fs::file_type::regular) {
        problem_ = Problem::notAFile;
        errorText_ = std::string("it is ") + nameOf(type) + ", not a file";
        return;
    }
    errno = 0;
    stream_ = std::make_unique<std::ifstream>(native, std::ios::binary);
    if (!*stream_) return fail(errno);
    size_ = fs::file_size(native, error);
    if (error) return fail(error.value());
    const fs::file_time_type time = fs::last_write_time(native, error);
    if (error) return fail(error.value());
    modified_ = secondsSince1970(time);
}

void FileContent::failAt(const fs::path& path, const std::error_code& error) {
    fail(error.value());
    std::error_code noLink;
    const fs::path target = fs::read_symlink(path, noLink);
    if (noLink || problem_ != Problem::missing) return;
    isDanglingLink_ = true;
    const std::u8string text = target.u8string();
    errorText_ =
        "it is a symbolic link to " + std::string(text.begin(), text.end()) + ", which does not exist";
}

void FileContent::fail(int errorNumber) {
    problem_ = errorNumber == ENOENT || errorNumber == ENOTDIR ? Problem::missing : Problem::unreadable;
    errorNumber_ = errorNumber;
    errorText_ = std::generic_category().message(errorNumber);
    stream_.reset();
    size_ = 0;
}

std::string FileContent::read(std::uint64_t offset, std::uint64_t count) const {
    if (!stream_ || offset >= size_) return {};
    std::string bytes(std::min({count, size_ - offset, std::uint64_t{kMostAtOnce}}), '\0');
    stream_->clear();
    stream_->seekg(static_cast<std::streamoff>(offset));
    stream_->read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    bytes.resize(static_cast<std::size_t>(stream_->gcount()));
    return bytes;
}

std::string directoryProblem(const std::string& path) {
    try {
        const fs::path native = pathOf(path);
        std::error_code error;
        const fs::file_type type = fs::status(withoutFinalSlash(native), error).type();
        if (type == fs::file_type::not_found) return "does not exist";
        if (type != fs::file_type::directory && !error) return "is not a directory";
        if (!error) const fs::directory_iterator opened(native, error);
        return error ? "cannot be read: " + error.message() : std::string();
    } catch (const std::exception& exception) {
        return std::string("cannot be read: ") + exception.what();
    }
}

bool writeFile(const std::string& path, const std::string& content) {
    try {
        std::ofstream file(pathOf(path), std::ios::binary);
        file << content;
        file.close();
        return bool(file);
    } catch (const std::exception&) {
        return false;
    }
}

}  // namespace qvp
