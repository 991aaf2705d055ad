#pragma once

#include "os/SystemPaths.h"

#include <string>
#include <string_view>

/// What makes a text a path: pure functions of their arguments, so that the rules of both platforms hold,
/// and are tested, on both.
namespace QvPlatform::PathRules {

using os::PathStyle;

enum class PathKind { directory, file };

/// The text with every backslash made "/".
std::string universal(std::string text);

/// Whether a text with "/" separators counts from the current directory.
bool isRelative(std::string_view text, PathStyle style);

/// Makes a text a path: "/" separators, a final "/" for a directory, put under the current directory when
/// relative, dots folded. `currentDirectory` is asked only when needed and yields a path ending with "/".
std::string normalize(std::string_view text, PathKind kind, PathStyle style,
                      std::string (*currentDirectory)());

/// Folds each "/./" and, from the left, each "/../" with the component before it, until one has none.
/// Linear. `Text` is std::string or std::wstring.
template <typename Text>
Text foldDots(const Text& path);

/// Whether the path's native form has backslashes: always on Windows, else when it has a drive colon in
/// its first component or begins with "//".
bool hasNativeBackslashes(std::wstring_view path, PathStyle style);

/// Three-way comparison with ASCII letters folded to lower case.
int compareFolded(std::wstring_view a, std::wstring_view b);

/// Whether `path` begins with `prefix`, ignoring ASCII case.
bool startsWithFolded(std::wstring_view path, std::wstring_view prefix);

}  // namespace QvPlatform::PathRules
