#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// What the library asks about files and directories. Paths are wide text with "/" separators. Nothing
/// throws but for lack of memory; what cannot be answered reads as missing.
namespace os {

enum class EntryKind { Missing, RegularFile, Directory, Other };

/// The system's own identity of a file, the same for each of its names.
struct FileIdentity {
    std::uint64_t device = 0;
    std::uint64_t file = 0;
    bool operator==(const FileIdentity&) const = default;
};

struct EntryStatus {
    EntryKind kind = EntryKind::Missing;
    std::optional<FileIdentity> identity;  ///< never on Windows, where the path's text is the identity
};

/// What is at `path`. On Linux a link counts as what it points to and a dangling one as missing.
EntryStatus entryStatus(const std::wstring& path);

/// Whether a regular file is at `path` that this process may read.
bool isReadableFile(const std::wstring& path);

struct DirectoryEntry {
    std::wstring name;
    bool isDirectory = false;
    bool isHidden = false;  ///< or a system file
};

/// The entries of a directory but "." and "..", in the system's order; `directory` ends with "/".
std::vector<DirectoryEntry> listDirectory(const std::wstring& directory);

}  // namespace os
