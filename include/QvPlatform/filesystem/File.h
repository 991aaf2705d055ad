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
/// Traps: `File("")` is the path of the current directory; a text that contains ":" counts as absolute, also
/// on Linux. A value type; two threads must not change the same value at once.
class QV_API File {
public:
    /// The empty path.
    File();
    /// Normalizes a UTF-8 text: backslashes become "/", a relative path is resolved against the current
    /// directory, and "/./" and "/../" are folded. Does not access the disk or resolve links.
    explicit File(const std::string& path);
    File(const File& other);
    File(File&& other) noexcept;
    File& operator=(const File& other);
    File& operator=(File&& other) noexcept;
    virtual ~File();

    /// The file of the loaded module (program or shared library) that holds `address`; the empty path if
    /// there is none. On Windows the name is truncated to 259 characters.
    static File thatContains(void* address);
    /// Takes the path unchanged, for names that the system reported.
    static File fromWide(std::wstring path);

    /// Compares the paths with ASCII letters folded to lower case, on both platforms.
    bool operator<(const File& other) const;

    /// The text after the last "/", or the whole path if there is none.
    std::string getName() const;
    /// The name before its last ".", or the whole name if there is none.
    std::string getBaseName() const;
    /// The name from its last ".", such as ".qvp"; "" if there is none.
    std::string getExtension() const;
    /// The path without its name; ends with "/".
    std::string getFolderPath() const;

    /// The path in UTF-8 with native separators. On Windows these are backslashes. On Linux a path that has a
    /// drive colon in its first component or begins with "//" gets backslashes; any other keeps its slashes.
    std::string toNativePath() const;
    /// The stored form in UTF-8.
    std::string toUniversalPath() const;
    /// The stored form; valid as long as the value.
    const std::wstring& widePath() const noexcept;

    /// Whether the path exists and is not a directory. On Linux links are followed.
    bool exists() const;

private:
    std::wstring path_;
};

}  // namespace QvPlatform
