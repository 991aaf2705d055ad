#include "filesystem/PathRules.h"

#include "Require.h"

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <string>

namespace {

namespace PathRules = QvPlatform::PathRules;
using fuzz::require;
using PathRules::PathKind;
using PathRules::PathStyle;

// What the process's current directory would be, chosen by the input; empty when it was deleted.
const char* const kCurrentDirectories[] = {"/srv/data/", "C:/some/dir/", "/", ""};
std::string currentDirectory;

std::string askCurrentDirectory() { return currentDirectory; }

// The rules of a path as plain text replacement, however slow.
std::string referenceNormalize(std::string path, PathKind kind, PathStyle style) {
    if (kind == PathKind::directory && path.empty()) path = ".";
    for (char& c : path)
        if (c == '\\') c = '/';
    if (kind == PathKind::directory && path.back() != '/') path += '/';

    const bool isAbsolute =
        path.find('.') != 0 && (path.find(':') != std::string::npos || path.rfind("//", 0) == 0 ||
                                (style == PathStyle::posix && path.rfind('/', 0) == 0));
    if (!isAbsolute) path = currentDirectory + path;

    for (auto dot = path.find("/./"); dot != std::string::npos; dot = path.find("/./"))
        path.replace(dot, 3, "/");
    for (auto dots = path.find("/../"); dots != std::string::npos; dots = path.find("/../")) {
        const auto parent = path.substr(0, dots).rfind('/');
        if (parent == std::string::npos) break;
        path.replace(parent, dots + 4 - parent, "/");
    }
    return path;
}

std::wstring widened(const std::string& text) {
    std::wstring wide;
    for (const char c : text) wide += static_cast<wchar_t>(static_cast<unsigned char>(c));
    return wide;
}

std::string lowered(std::string text) {
    for (char& c : text)
        if (static_cast<unsigned char>(c) < 0x80) c = static_cast<char>(std::tolower(c));
    return text;
}

int sign(int value) { return (value > 0) - (value < 0); }

std::string checkNormalization(const std::string& text, PathKind kind, PathStyle style) {
    const std::string path = PathRules::normalize(text, kind, style, askCurrentDirectory);
    require(path == referenceNormalize(text, kind, style));
    require(path.find('\\') == std::string::npos && path.find("/./") == std::string::npos);
    if (kind == PathKind::directory) require(path.back() == '/');
    if (!PathRules::isRelative(path, style))
        require(PathRules::normalize(path, kind, style, askCurrentDirectory) == path);
    return path;
}

// Folding knows no characters, so it is the same for wide text as for narrow.
void checkFolding(const std::string& text) {
    require(PathRules::foldDots(widened(text)) == widened(PathRules::foldDots(text)));
}

void checkComparison(const std::string& a, const std::string& b) {
    const std::wstring wideA = widened(a);
    const std::wstring wideB = widened(b);
    const int order = PathRules::compareFolded(wideA, wideB);
    require(sign(order) == sign(lowered(a).compare(lowered(b))));
    require(sign(PathRules::compareFolded(wideB, wideA)) == -sign(order));
    require(PathRules::startsWithFolded(wideA, wideB) == (lowered(a).rfind(lowered(b), 0) == 0));
}

void checkNativeForm(const std::string& path) {
    const std::string first = path.substr(0, path.find('/'));
    const bool isDriveOrNetwork = first.find(':') != std::string::npos || path.rfind("//", 0) == 0;
    require(PathRules::hasNativeBackslashes(widened(path), PathStyle::posix) == isDriveOrNetwork);
    require(PathRules::hasNativeBackslashes(widened(path), PathStyle::windows));
}

// Random bytes seldom form "/../"; a text of these characters does.
std::string ofPathCharacters(std::string text) {
    constexpr char kAlphabet[] = {'/', '.', '/', '.', '\\', ':', 'a', 'B'};
    for (char& c : text) c = kAlphabet[static_cast<unsigned char>(c) % sizeof kAlphabet];
    return text;
}

}  // namespace

// The first byte chooses the rules, a line end separates two texts.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const unsigned choice = data[0];
    const std::string input(data + 1, data + size);
    const PathKind kind = (choice & 1U) != 0 ? PathKind::directory : PathKind::file;
    const PathStyle style = (choice & 2U) != 0 ? PathStyle::windows : PathStyle::posix;
    currentDirectory = kCurrentDirectories[(choice >> 2U) & 3U];

    const auto middle = std::min(input.find('\n'), input.size());
    std::string first = input.substr(0, middle);
    std::string second = input.substr(std::min(middle + 1, input.size()));
    if ((choice & 16U) != 0) {
        first = ofPathCharacters(first);
        second = ofPathCharacters(second);
    }
    checkNativeForm(checkNormalization(first, kind, style));
    checkFolding(first);
    checkComparison(first, second);
    return 0;
}
