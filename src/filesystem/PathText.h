#pragma once

#include "filesystem/PathRules.h"

#include <string>

/// Conversions between a path type's stored text and the texts of its interface.
namespace QvPlatform::PathText {

/// The stored form of a text, by the rules of the platform.
std::wstring fromText(const std::string& text, PathRules::PathKind kind);

/// True if the stored form of a text depends on the current directory.
bool isRelative(const std::string& text);

/// `path` in narrow form. With `native`, uses the native separators of `form`, the path that it is a part of.
std::string toText(std::wstring path, bool native, std::wstring_view form);

/// The text after the last "/"; the whole text if there is none.
std::wstring_view lastComponent(std::wstring_view path);

/// With one final "/"; an empty text stays empty.
std::wstring closed(std::wstring path);

}  // namespace QvPlatform::PathText
