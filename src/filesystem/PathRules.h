#pragma once

#include "os/SystemPaths.h"

#include <string>
#include <string_view>

/// The rules for paths: pure functions of their arguments, so that the rules of both platforms are available
/// and tested on both.
namespace QvPlatform::PathRules {

using os::PathStyle;

enum class PathKind { directory, file };

/// The text with every backslash replaced by "/".
std::string universal(std::string text);

/// True if a text with "/" separators is relative to the current directory.
bool isRelative(std::string_view text, PathStyle style);

/// Converts a text to a path: "/" separators, a final "/" for a directory, absolute, dots folded.
/// `currentDirectory` is called only if needed and returns a path ending with "/".
std::string normalize(std::string_view text, PathKind kind, PathStyle style,
                      std::string (*currentDirectory)());

/// Folds each "/./" and, from the left, each "/../" with the component before it; stops at the first one
/// without such a component. Linear time. `Text` is std::string or std::wstring.
template <typename Text>
Text foldDots(const Text& path);

/// True if the path's native form has backslashes: always on Windows; on Linux if the first component
/// contains a drive colon or the path begins with "//".
bool hasNativeBackslashes(std::wstring_view path, PathStyle style);

/// Three-way comparison with ASCII letters folded to lower case.
int compareFolded(std::wstring_view a, std::wstring_view b);

/// True if `path` begins with `prefix`, ignoring ASCII case.
bool startsWithFolded(std::wstring_view path, std::wstring_view prefix);

}  // namespace QvPlatform::PathRules
