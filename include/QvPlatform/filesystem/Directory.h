#pragma once

#include <QvPlatform/core/Export.h>
#include <QvPlatform/filesystem/File.h>

#include <memory>
#include <string>
#include <vector>

namespace QvPlatform {

/// The path of a directory, held absolute, with "/" separators and a "/" at its end.
///
///     QvPlatform::Directory plugins("C:\\app\\plugins");
///     plugins.toUniversalPath();                       // "C:/app/plugins/"
///     for (const auto& file : plugins.files()) ...
///
/// Texts are UTF-8. Nothing is cached: each query reads the disk again. Operations throw only if memory runs
/// out, and do not log; on failure the result is an empty path, false, or an empty listing. A value type; two
/// threads must not change the same value at once.
///
/// Traps: comparison ignores ASCII case on both platforms (a `std::set` merges "A/" and "a/"; compare
/// `widePath()` for exact equality); a text that contains ":" counts as absolute, also on Linux; `parent()`
/// of "/" is "/".
class QV_API Directory {
public:
    static const char SEPARATOR_NATIVE;
    static const char SEPARATOR_UNIVERSAL;

    /// Directories that the platform defines.
    enum WellKnownDirectory : int {
        kCurrentDirectory = 0,     ///< on Linux, empty if it was deleted
        kSystemDrive = 1,          ///< such as "C:/"; "/" on Linux
        kUserProfile = 2,          ///< `$HOME` or the account's home on Linux
        kExecutableDirectory = 3,  ///< that of the running program
        kLibraryDirectory = 4,     ///< that of this library
        kTemporaryDirectory = 5    ///< `$TMPDIR`, made absolute, or "/tmp/" on Linux
    };

    /// The empty path.
    Directory();
    /// Normalizes `path` as `File` does; "" is the current directory.
    explicit Directory(const std::string& path);
    /// The directory that holds the file: its path up to the last "/".
    explicit Directory(const File& file);
    /// Empty if the directory cannot be determined or the value is out of range.
    explicit Directory(WellKnownDirectory which);
    Directory(const Directory& other);
    Directory(Directory&& other) noexcept;
    Directory& operator=(const Directory& other);
    Directory& operator=(Directory&& other) noexcept;
    ~Directory();

    /// Takes the path unchanged, for names that the system reported; only a missing final "/" is added.
    static Directory fromWide(std::wstring path);

    bool operator<(const Directory& other) const;
    bool operator==(const Directory& other) const;

    /// The last component: "b" for "C:/a/b/", "C:" for "C:/".
    std::string getName() const;
    /// As `File::toNativePath`; keeps the final separator.
    std::string toNativePath() const;
    std::string toUniversalPath() const;
    /// The stored form; valid as long as the value.
    const std::wstring& widePath() const noexcept;

    /// This path without the leading `base`, compared ignoring ASCII case: "" if both are equal, the whole
    /// path if it is not under `base`. `native` selects this path's native separators.
    std::string relativeTo(const Directory& base, bool native) const;

    bool exists() const;
    /// Whether the parent exists. Always false directly below a root: "C:/x/", "/x/".
    bool hasParent() const;
    bool hasDirectory(const std::string& name) const;
    bool hasFile(const std::string& name) const;

    /// The path without its last component; empty if there is none to remove. Does not access the disk.
    Directory parent() const;
    /// The directory `name` in this one; "." and ".." are not resolved.
    Directory directory(const std::string& name) const;
    /// The file `name` in this directory; `name` is appended unchanged.
    File file(const std::string& name) const;

    /// The immediate subdirectories, hidden ones included, in the platform's order.
    std::vector<Directory> directories() const;
    /// The same, appended to `out`.
    void directories(std::vector<Directory>& out) const;
    /// The immediate entries that are not directories, in the platform's order. Hidden files (a leading dot
    /// on Linux) and system files are left out.
    std::vector<File> files() const;
    /// The same, appended to `out`.
    void files(std::vector<File>& out) const;

    /// The deepest directory, among the first element and its existing parents, that is a prefix of all
    /// others (case-sensitive). Null if there is none or `dirs` is empty.
    static std::shared_ptr<Directory> commonRootOf(std::vector<Directory> dirs);

private:
    std::wstring path_;
};

}  // namespace QvPlatform
