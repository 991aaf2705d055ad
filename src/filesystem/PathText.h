#pragma once

#include "filesystem/PathRules.h"

#include <string>

/// The steps between a path type's stored text and the texts at its interface.
namespace QvPlatform::PathText {

/// The stored form of a text by the running platform's rules.
std::wstring fromText(const std::string& text, PathRules::PathKind kind);

/// Whether the stored form of a text depends on the current directory.
bool isRelative(const std::string& text);

/// `path` in narrow form; with `native`, separators as `form`, the path that it is a part of, has them.
std::string toText(std::wstring path, bool native, std::wstring_view form);

/// The text after the last "/"; the whole text if there is none.
std::wstring_view lastComponent(std::wstring_view path);

/// With one final "/"; an empty text stays empty.
std::wstring closed(std::wstring path);

}  // namespace QvPlatform::PathText
