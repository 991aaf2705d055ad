#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace qvp {

/// A regular file, open for reading at any place. It may be replaced meanwhile by renaming, not locked.
class FileContent {
public:
    enum class Problem { none, missing, unreadable, notAFile };

    /// `path` is UTF-8 and absolute.
    explicit FileContent(const std::string& path);
    FileContent(const FileContent&) = delete;
    FileContent& operator=(const FileContent&) = delete;
    ~FileContent();

    Problem problem() const noexcept { return problem_; }
    int errorNumber() const noexcept { return errorNumber_; }
    const std::string& errorText() const noexcept { return errorText_; }
    std::uint64_t size() const noexcept { return size_; }
    std::int64_t modified() const noexcept { return modified_; }  ///< seconds since 1970

    /// The bytes from `offset` on, fewer where the file ends or cannot be read.
    std::string read(std::uint64_t offset, std::size_t count) const;
    /// The system's own handle, for a library that reads files by itself.
    std::intptr_t handle() const noexcept;

private:
    struct Record;
    std::unique_ptr<Record> record_;
    Problem problem_ = Problem::none;
    int errorNumber_ = 0;
    std::string errorText_;
    std::uint64_t size_ = 0;
    std::int64_t modified_ = 0;
};

}  // namespace qvp
