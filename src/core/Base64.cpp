// Base64 of RFC 4648, section 4.

#include <QvPlatform/core/StringUtils.h>

#include "core/Base64Paths.h"

#include <algorithm>
#include <string_view>

namespace QvSim::StringUtils {
namespace {

using Qv::detail::Base64Path;
using Qv::detail::kBase64ByTables;

// The result grows by pieces, so that the zeros it grows by are still in the cache when they are replaced.
constexpr std::size_t kPieceOfBytes = 6144;
constexpr std::size_t kPieceOfText = kPieceOfBytes / 3 * 4;

const Base64Path& fastestPath() {
    const auto paths = Qv::detail::base64Paths();
    return **std::find_if(paths.begin(), paths.end(), [](const Base64Path* path) { return path != nullptr; });
}

// The same functions of a path, with the plain path for what it leaves.
std::size_t encodeGroups(const Base64Path& path, std::string_view bytes, char* text) {
    const std::size_t taken = path.encode(bytes.data(), bytes.size(), text);
    bytes.remove_prefix(taken);
    return taken + kBase64ByTables.encode(bytes.data(), bytes.size(), text + taken / 3 * 4);
}

std::size_t decodeGroups(const Base64Path& path, std::string_view text, char* bytes) {
    const std::size_t taken = path.decode(text.data(), text.size(), bytes);
    text.remove_prefix(taken);
    return taken + kBase64ByTables.decode(text.data(), text.size(), bytes + taken / 4 * 3);
}

// One or two bytes at the end.
void appendEncodedRest(std::string_view rest, std::string& text) {
    char padded[3] = {};
    rest.copy(padded, rest.size());
    char group[4];
    kBase64ByTables.encode(padded, sizeof padded, group);
    text.append(group, rest.size() + 1).append(3 - rest.size(), '=');
}

// The characters of the last group before the first foreign one.
void appendDecodedRest(std::string_view rest, std::string& bytes) {
    for (std::size_t count = std::min<std::size_t>(rest.size(), 3); count > 1; --count) {
        char padded[] = {'A', 'A', 'A', 'A'};
        rest.copy(padded, count);
        char group[3];
        if (kBase64ByTables.decode(padded, sizeof padded, group) == 0) continue;
        bytes.append(group, count - 1);
        return;
    }
}

}  // namespace

std::string base64Encode(const std::string& bytes) {
    const Base64Path& path = fastestPath();
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    std::string_view rest = bytes;
    while (rest.size() >= 3) {
        const std::string_view piece = rest.substr(0, std::min(rest.size() / 3 * 3, kPieceOfBytes));
        const std::size_t done = text.size();
        text.resize(done + piece.size() / 3 * 4);
        rest.remove_prefix(encodeGroups(path, piece, &text[done]));
    }
    if (!rest.empty()) appendEncodedRest(rest, text);
    return text;
}

std::string base64Decode(const std::string& text) {
    const Base64Path& path = fastestPath();
    std::string bytes;
    bytes.reserve(text.size() / 4 * 3 + 3);
    std::string_view rest = text;
    for (bool isClean = true; isClean && rest.size() >= 4;) {
        const std::string_view piece = rest.substr(0, std::min(rest.size() / 4 * 4, kPieceOfText));
        const std::size_t done = bytes.size();
        bytes.resize(done + piece.size() / 4 * 3);
        const std::size_t taken = decodeGroups(path, piece, &bytes[done]);
        isClean = taken == piece.size();
        bytes.resize(done + taken / 4 * 3);
        rest.remove_prefix(taken);
    }
    appendDecodedRest(rest, bytes);
    return bytes;
}

}  // namespace QvSim::StringUtils
