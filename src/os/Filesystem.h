#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

/// Queries about files and directories. Paths are wide text with "/" separators. The functions throw only if
/// memory runs out. If the system gives no answer, the file counts as missing.
namespace os {

enum class EntryKind { missing, regularFile, directory, other };

/// The system's identity of a file, the same for all its names.
struct FileIdentity {
    std::uint64_t device = 0;
    std::uint64_t file = 0;
    bool operator==(const FileIdentity&) const = default;
};

struct EntryStatus {
    EntryKind kind = EntryKind::missing;
    std::optional<FileIdentity> identity;  ///< never on Windows, where the path's text is the identity
};

/// What is at `path`. On Linux links are followed, and a dangling link counts as missing.
EntryStatus entryStatus(const std::wstring& path);

/// True if `path` is a regular file that this process may read.
bool isReadableFile(const std::wstring& path);

/// True if the path itself is a link (on Windows also a junction), even a dangling one.
bool isLink(const std::wstring& path);

/// The path with all links resolved and, on file systems that ignore case, in lower case. Equal results
/// mean the same file. Empty if nothing exists at `path`.
std::optional<std::wstring> canonicalPath(const std::wstring& path);

/// Seconds since 1970, UTC. Links are followed on Linux.
std::optional<std::int64_t> modificationTime(const std::wstring& path);

/// Reads a part of a file into `piece`, which is as large as the part, and returns how many bytes the file
/// has there; nothing on failure.
std::optional<std::size_t> readPart(const std::wstring& path, std::uint64_t offset, std::string& piece);

struct DirectoryEntry {
    std::string_view name;     ///< UTF-8; valid during the visit
    bool isDirectory = false;  ///< or a link to one
    bool isLink = false;
    bool isHidden = false;  ///< or a system file
};

/// What changes when a file is written or replaced.
struct FileStamp {
    std::uint64_t size = 0;
    std::int64_t modified = 0;  ///< in the system's finest units
    FileIdentity identity;
    bool operator==(const FileStamp&) const = default;
};

/// Nothing if there is no regular file. Links are followed.
std::optional<FileStamp> fileStamp(const std::wstring& path);

/// Calls `visit` with each entry of a directory except "." and "..", in the system's order. `directory` ends
/// with "/". If the directory cannot be read, returns false and stores the system's text in `*error` unless
/// `error` is null.
bool visitDirectory(const std::wstring& directory, const std::function<void(const DirectoryEntry&)>& visit,
                    std::string* error = nullptr);

}  // namespace os
