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
/// Texts are UTF-8. Nothing is cached: each question about the disk is asked anew. No operation throws
/// or logs; failure shows as an empty path, false, or an empty listing. Traps: comparison ignores ASCII
/// letter case on both platforms (a `std::set` merges "A/" and "a/"; compare `widePath()` for the exact
/// answer); a text that contains ":" counts as absolute, also on Linux; `parent()` of "/" is "/".
/// A value type; one value must not be changed by two threads at once.
class QV_API Directory {
public:
    static const char SEPARATOR_NATIVE;
    static const char SEPARATOR_UNIVERSAL;

    /// Directories that the platform knows.
    enum WellKnownDirectory : int {
        kCurrentDirectory = 0,     ///< empty on Linux when it was deleted
        kSystemDrive = 1,          ///< such as "C:/"; "/" on Linux
        kUserProfile = 2,          ///< `$HOME` or the account's home on Linux
        kExecutableDirectory = 3,  ///< that of the running program
        kLibraryDirectory = 4,     ///< that of this library
        kTemporaryDirectory = 5    ///< `$TMPDIR`, made absolute, or "/tmp/" on Linux
    };

    /// The empty path.
    Directory();
    /// Normalizes a UTF-8 text as `File` does; the empty text is the current directory.
    explicit Directory(const std::string& path);
    /// The directory that holds the file: its path up to the last "/".
    explicit Directory(const File& file);
    /// Empty when the platform does not know it or the value is out of range.
    explicit Directory(WellKnownDirectory which);
    Directory(const Directory& other);
    Directory(Directory&& other) noexcept;
    Directory& operator=(const Directory& other);
    Directory& operator=(Directory&& other) noexcept;
    ~Directory();

    /// A path taken as it stands, for names that the system reported; only a missing final "/" is added.
    static Directory fromWide(std::wstring path);

    bool operator<(const Directory& other) const;
    bool operator==(const Directory& other) const;

    /// The last component: "b" for "C:/a/b/", "C:" for "C:/".
    std::string getName() const;
    /// As `File::toNativePath`; the final separator stays.
    std::string toNativePath() const;
    std::string toUniversalPath() const;
    /// The stored form; valid as long as the value.
    const std::wstring& widePath() const noexcept;

    /// This path without the leading `base`, "" when they are equal ignoring ASCII case; the whole path
    /// when it does not lie under `base`. `native` asks for this path's native separators.
    std::string relativeTo(const Directory& base, bool native) const;

    bool exists() const;
    /// Whether there is an existing parent. False by definition directly below a root: "C:/x/", "/x/".
    bool hasParent() const;
    bool hasDirectory(const std::string& name) const;
    bool hasFile(const std::string& name) const;

    /// One component less; empty when there is none to take. The disk is not consulted.
    Directory parent() const;
    /// The directory `name` below this one; "." and ".." are not folded.
    Directory directory(const std::string& name) const;
    /// The file `name` below this directory; `name` is appended as it stands.
    File file(const std::string& name) const;

    /// The directories directly below, hidden ones included, in the platform's order.
    std::vector<Directory> directories() const;
    /// The same, appended to `out`.
    void directories(std::vector<Directory>& out) const;
    /// The entries directly below that are no directories, neither hidden (a leading dot on Linux) nor
    /// system files, in the platform's order.
    std::vector<File> files() const;
    /// The same, appended to `out`.
    void files(std::vector<File>& out) const;

    /// The deepest directory of the first one's chain of existing parents that all others begin with,
    /// letter case mattering; null when there is none or `dirs` is empty.
    static std::shared_ptr<Directory> commonRootOf(std::vector<Directory> dirs);

private:
    std::wstring path_;
};

}  // namespace QvPlatform
