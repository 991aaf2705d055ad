#pragma once

#include <QvPlatform/core/Export.h>

#include <string>
#include <string_view>

namespace QvPlatform {

/// The path of a file, held absolute and with "/" separators; see `Directory` for the rules that both
/// path types share.
///
///     QvPlatform::File file("plugins/solver.qvp");
///     file.getBaseName();     // "solver"
///     file.getExtension();    // ".qvp"
///
/// Traps: `File("")` is the current directory's text; a text that contains ":" counts as absolute, also
/// on Linux. A value type; one value must not be changed by two threads at once.
class QV_API File {
public:
    /// The empty path.
    File();
    /// Normalizes a UTF-8 text: backslashes become "/", a relative text is put under the current
    /// directory, "/./" and "/../" are folded. The disk is not consulted, no link is resolved.
    explicit File(const std::string& path);
    File(const File& other);
    File(File&& other) noexcept;
    File& operator=(const File& other);
    File& operator=(File&& other) noexcept;
    virtual ~File();

    /// The file of the loaded module (program or shared library) that holds `address`; the empty path
    /// when none does. On Windows the name is cut after 259 characters.
    static File thatContains(void* address);
    /// A path taken as it stands, for names that the system reported: no rule is applied.
    static File fromWide(std::wstring path);

    /// Order of the paths with ASCII letters folded to lower case, on both platforms.
    bool operator<(const File& other) const;

    /// What follows the last "/", or everything.
    std::string getName() const;
    /// The name up to its last ".", or the whole name.
    std::string getBaseName() const;
    /// The name from its last "." on, such as ".qvp"; "" without one.
    std::string getExtension() const;
    /// The path without its name; ends with "/".
    std::string getFolderPath() const;

    /// The platform's own form in UTF-8. On Linux a path with a drive colon in its first component or
    /// beginning with "//" gets backslashes, any other keeps its slashes; on Windows all get backslashes.
    std::string toNativePath() const;
    /// The stored form in UTF-8.
    std::string toUniversalPath() const;
    /// The stored form; valid as long as the value.
    const std::wstring& widePath() const noexcept;

    /// Whether something other than a directory is there; a link counts as what it points to on Linux.
    bool exists() const;

private:
    std::wstring path_;
};

}  // namespace QvPlatform
