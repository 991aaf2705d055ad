#include "base/CommandLineSplit.h"
#include "base/QuotedArgument.h"

#include "Require.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace {

using Texts = std::vector<std::string>;

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
    for (const std::string& argument : arguments) line += " " + base::quotedArgument(argument);
    const Texts back = base::splitCommandLine(line);
    fuzz::require(back.size() == arguments.size() + 1);
    fuzz::require(std::equal(arguments.begin(), arguments.end(), back.begin() + 1));
    return 0;
}
