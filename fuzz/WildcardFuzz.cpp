#include "base/Wildcard.h"

#include "Require.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace {

bool isSame(char pattern, char c, bool caseSensitive) {
    if (pattern == '?') return true;
    if (caseSensitive) return pattern == c;
    const auto upper = [](char x) { return x >= 'a' && x <= 'z' ? static_cast<char>(x - 32) : x; };
    return upper(pattern) == upper(c);
}

// One row for each character of the text: whether each beginning of the pattern matches what was read.
bool referenceMatch(const std::string& pattern, const std::string& text, bool caseSensitive) {
    std::vector<char> row(pattern.size() + 1);
    row[0] = 1;
    for (std::size_t p = 0; p < pattern.size() && pattern[p] == '*'; ++p) row[p + 1] = 1;
    for (const char c : text) {
        std::vector<char> next(row.size());
        for (std::size_t p = 0; p < pattern.size(); ++p)
            next[p + 1] = pattern[p] == '*'
                              ? next[p] | row[p + 1]
                              : static_cast<char>(row[p] && isSame(pattern[p], c, caseSensitive));
        row = next;
    }
    return row.back() != 0;
}

// Few different characters meet often.
std::string narrowed(std::string text) {
    for (char& c : text) c = "ab*?A*"[static_cast<unsigned char>(c) % 6];
    return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const std::size_t split = 1 + data[0] % size;
    std::string pattern(data + 1, data + split);
    std::string text(data + split, data + size);
    for (int round = 0; round < 2; ++round) {
        for (const bool caseSensitive : {false, true})
            fuzz::require(base::matchesWildcard(pattern, text, caseSensitive) ==
                          referenceMatch(pattern, text, caseSensitive));
        pattern = narrowed(pattern);
        text = narrowed(text);
    }
    return 0;
}
