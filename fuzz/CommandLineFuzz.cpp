#include "base/CommandLineSplit.h"

#include "Require.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace {

using Texts = std::vector<std::string>;

// The way in which an argument must be written so that it arrives as it is.
std::string quoted(const std::string& argument) {
    std::string text = "\"";
    std::size_t backslashes = 0;
    for (const char c : argument) {
        if (c == '"') text.append(backslashes + 1, '\\');
        backslashes = c == '\\' ? backslashes + 1 : 0;
        text += c;
    }
    return text.append(backslashes, '\\') + '"';
}

Texts piecesOf(const std::string& text, char separator) {
    Texts pieces(1);
    for (const char c : text) {
        if (c == separator)
            pieces.emplace_back();
        else
            pieces.back() += c;
    }
    return pieces;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(data, data + size);
    const Texts split = base::splitCommandLine(text);
    fuzz::require(!split.empty());
    std::size_t kept = split.size() - 1;
    for (const std::string& argument : split) kept += argument.size();
    fuzz::require(kept <= size + 1);

    // Any arguments, written out and split, come back.
    const Texts arguments = piecesOf(text, ';');
    std::string line = "program";
    for (const std::string& argument : arguments) line += " " + quoted(argument);
    const Texts back = base::splitCommandLine(line);
    fuzz::require(back.size() == arguments.size() + 1);
    fuzz::require(std::equal(arguments.begin(), arguments.end(), back.begin() + 1));
    return 0;
}
