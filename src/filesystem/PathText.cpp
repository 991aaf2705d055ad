#include "filesystem/PathText.h"

#include "base/Utf.h"
#include "os/SystemPaths.h"

#include <algorithm>

namespace QvPlatform::PathText {
namespace {

std::string currentDirectory() { return base::narrow(closed(os::currentDirectory())); }

}  // namespace

std::wstring fromText(const std::string& text, PathRules::PathKind kind) {
    return base::widen(PathRules::normalize(text, kind, os::nativePathStyle(), currentDirectory));
}

bool isRelative(const std::string& text) {
    return PathRules::isRelative(PathRules::universal(text), os::nativePathStyle());
}

std::string toText(std::wstring path, bool native, std::wstring_view form) {
    if (native && PathRules::hasNativeBackslashes(form, os::nativePathStyle()))
        std::replace(path.begin(), path.end(), L'/', L'\\');
    return base::narrow(path);
}

std::wstring_view lastComponent(std::wstring_view path) { return path.substr(path.rfind(L'/') + 1); }

std::wstring closed(std::wstring path) {
    if (!path.empty() && path.back() != L'/') path += L'/';
    return path;
}

}  // namespace QvPlatform::PathText
