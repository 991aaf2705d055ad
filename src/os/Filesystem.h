#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

/// What the library asks about files and directories. Paths are wide text with "/" separators. Nothing
/// throws but for lack of memory; what cannot be answered reads as missing.
namespace os {

enum class EntryKind { missing, regularFile, directory, other };

/// The system's own identity of a file, the same for each of its names.
struct FileIdentity {
    std::uint64_t device = 0;
    std::uint64_t file = 0;
    bool operator==(const FileIdentity&) const = default;
};

struct EntryStatus {
    EntryKind kind = EntryKind::missing;
    std::optional<FileIdentity> identity;  ///< never on Windows, where the path's text is the identity
};

/// What is at `path`. On Linux a link counts as what it points to and a dangling one as missing.
EntryStatus entryStatus(const std::wstring& path);

/// Whether a regular file is at `path` that this process may read.
bool isReadableFile(const std::wstring& path);

/// Whether the path itself is a link (on Windows a junction counts), whatever it leads to.
bool isLink(const std::wstring& path);

/// The path of something that exists with all links resolved and, where letter case does not tell files
/// apart, in lower case: equal texts mean the same place.
std::optional<std::wstring> canonicalPath(const std::wstring& path);

/// Seconds since 1970, UTC; a link counts as what it points to on Linux.
std::optional<std::int64_t> modificationTime(const std::wstring& path);

struct DirectoryEntry {
    std::string_view name;     ///< UTF-8; valid during the visit
    bool isDirectory = false;  ///< or a link to one
    bool isLink = false;
    bool isHidden = false;  ///< or a system file
};

/// Calls `visit` with each entry of a directory but "." and "..", in the system's order; `directory` ends
/// with "/". False, and the system's text in `error` when that is not null, if it cannot be read.
bool visitDirectory(const std::wstring& directory, const std::function<void(const DirectoryEntry&)>& visit,
                    std::string* error = nullptr);

}  // namespace os
