#include <QvPlatform/core/StringUtils.h>

#include "Require.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace {

// Character by character.
Qv::QvArray<std::string> referenceSplit(const std::string& text, const std::string& delimiters) {
    Qv::QvArray<std::string> pieces;
    std::string piece;
    for (const char c : text + delimiters[0]) {
        if (delimiters.find(c) == std::string::npos) {
            piece += c;
        } else if (!piece.empty()) {
            pieces.push_back(piece);
            piece.clear();
        }
    }
    return pieces;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2) return 0;
    const std::string rest(data + 1, data + size);
    const std::string delimiters = rest.substr(0, 1 + data[0] % 7U);
    Qv::QvArray<std::string> pieces;
    QvSim::StringUtils::split(pieces, rest, delimiters, false, false);
    fuzz::require(pieces == referenceSplit(rest, delimiters));
    return 0;
}
