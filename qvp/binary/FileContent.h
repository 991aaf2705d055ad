#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <iosfwd>
#include <memory>
#include <string>
#include <system_error>

namespace qvp {

/// A regular file, open for reading at any offset. One thread at a time.
class FileContent {
public:
    enum class Problem { none, missing, unreadable, notAFile };

    /// The most that `read` returns; readers take a larger table for damage.
    static constexpr std::size_t kMostAtOnce = std::size_t{1} << 28U;

    /// `path` is UTF-8 and absolute. What is not a regular file, such as a pipe, is not opened.
    explicit FileContent(const std::string& path);
    /// The bytes in place of a file.
    static FileContent ofBytes(std::string bytes);
    FileContent(const FileContent&) = delete;
    FileContent& operator=(const FileContent&) = delete;
    ~FileContent();

    Problem problem() const noexcept { return problem_; }
    int errorNumber() const noexcept { return errorNumber_; }
    const std::string& errorText() const noexcept { return errorText_; }
    bool isDanglingLink() const noexcept { return isDanglingLink_; }  ///< then it is missing
    std::uint64_t size() const noexcept { return size_; }
    std::int64_t modified() const noexcept { return modified_; }  ///< seconds since 1970

    /// The bytes from `offset` on. Fewer than `count` if the file ends or cannot be read, and at most
    /// `kMostAtOnce`.
    std::string read(std::uint64_t offset, std::uint64_t count) const;

private:
    FileContent(std::unique_ptr<std::istream> stream, std::uint64_t size);
    void open(const std::string& path);
    void fail(int errorNumber);
    void failAt(const std::filesystem::path& path, const std::error_code& error);

    std::unique_ptr<std::istream> stream_;
    Problem problem_ = Problem::none;
    int errorNumber_ = 0;
    std::string errorText_;
    bool isDanglingLink_ = false;
    std::uint64_t size_ = 0;
    std::int64_t modified_ = 0;
};

/// Why the directory cannot be listed: "does not exist", "is not a directory", "cannot be read: Permission
/// denied"; "" if it can. `path` is UTF-8.
std::string directoryProblem(const std::string& path);

/// Creates the file or replaces its content; false if it could not be written completely. `path` is UTF-8.
bool writeFile(const std::string& path, const std::string& content);

}  // namespace qvp
