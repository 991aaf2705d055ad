#include "report/Text.h"

#include "Require.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>

namespace {

std::string withoutBlanks(std::string text) {
    std::erase(text, ' ');
    return text;
}

// Characters of three and four bytes are wide, or not.
bool isOneCharacter(const std::string& text) {
    return std::all_of(text.begin() + 1, text.end(), [](char c) { return (c & 0xC0) == 0x80; });
}

}  // namespace

// The first byte is the width of the lines.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const std::size_t width = data[0] % 40;
    const std::string text(data + 1, data + size);
    std::string joined;
    for (const std::string& line : qvp::wrapped(text, width)) {
        fuzz::require(qvp::columnsOf(line) <= width || isOneCharacter(line));
        joined += line;
    }
    fuzz::require(withoutBlanks(joined) == withoutBlanks(text));
    const std::string printable = qvp::printable(text);
    fuzz::require(std::none_of(printable.begin(), printable.end(), [](char c) { return c >= 0 && c < ' '; }));
    return 0;
}
