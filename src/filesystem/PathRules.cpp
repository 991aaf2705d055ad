#include "filesystem/PathRules.h"

#include "base/AsciiCase.h"

#include <algorithm>

namespace QvPlatform::PathRules {
namespace {

template <typename Text>
bool hasAt(const Text& path, std::size_t position, const char* pattern) {
    for (; *pattern; ++pattern, ++position) {
        if (position >= path.size() || path[position] != static_cast<typename Text::value_type>(*pattern))
            return false;
    }
    return true;
}

// The final "/" of a folded part can begin the next part, so the scan continues at that "/".
template <typename Text>
Text foldSingleDots(const Text& path) {
    Text out;
    out.reserve(path.size());
    for (std::size_t i = 0; i < path.size(); ++i) {
        while (hasAt(path, i, "/./")) i += 2;
        out += path[i];
    }
    return out;
}

template <typename Text>
Text foldDoubleDots(const Text& path) {
    Text out;
    out.reserve(path.size());
    for (std::size_t i = 0; i < path.size(); ++i) {
        while (hasAt(path, i, "/../")) {
            const auto parent = out.rfind('/');
            if (parent == Text::npos) return out + path.substr(i);
            out.resize(parent);
            i += 3;
        }
        out += path[i];
    }
    return out;
}

}  // namespace

std::string universal(std::string text) {
    std::replace(text.begin(), text.end(), '\\', '/');
    return text;
}

bool isRelative(std::string_view text, PathStyle style) {
    if (text.starts_with('.')) return true;
    if (text.find(':') != std::string_view::npos || text.starts_with("//")) return false;
    return style == PathStyle::windows || !text.starts_with('/');
}

std::string normalize(std::string_view text, PathKind kind, PathStyle style,
                      std::string (*currentDirectory)()) {
    std::string path = universal(std::string(text));
    if (kind == PathKind::directory && path.empty()) path = ".";
    if (kind == PathKind::directory && path.back() != '/') path += '/';
    if (isRelative(path, style)) path.insert(0, currentDirectory());
    return foldDots(path);
}

template <typename Text>
Text foldDots(const Text& path) {
    const typename Text::value_type dot[] = {'/', '.'};
    if (path.find(dot, 0, 2) == Text::npos) return path;
    return foldDoubleDots(foldSingleDots(path));
}

template std::string foldDots(const std::string&);
template std::wstring foldDots(const std::wstring&);

bool hasNativeBackslashes(std::wstring_view path, PathStyle style) {
    if (style == PathStyle::windows || path.starts_with(L"//")) return true;
    return path.substr(0, path.find(L'/')).find(L':') != std::wstring_view::npos;
}

int compareFolded(std::wstring_view a, std::wstring_view b) {
    if (a == b) return 0;
    const std::size_t common = std::min(a.size(), b.size());
    for (std::size_t i = 0; i < common; ++i) {
        if (a[i] == b[i]) continue;
        const wchar_t x = base::foldCase(a[i]);
        const wchar_t y = base::foldCase(b[i]);
        if (x != y) return x < y ? -1 : 1;
    }
    return a.size() < b.size() ? -1 : a.size() > b.size() ? 1 : 0;
}

bool startsWithFolded(std::wstring_view path, std::wstring_view prefix) {
    return path.size() >= prefix.size() && compareFolded(path.substr(0, prefix.size()), prefix) == 0;
}

}  // namespace QvPlatform::PathRules
