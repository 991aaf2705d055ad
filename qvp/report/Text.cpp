#include "report/Text.h"

#include <algorithm>
#include <cstdint>

namespace qvp {
namespace {

bool continues(char byte) { return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U; }

std::size_t lengthAt(const std::string& text, std::size_t offset) {
    std::size_t end = offset + 1;
    while (end < text.size() && continues(text[end])) ++end;
    return end - offset;
}

// East Asian scripts take two columns a character; those begin at U+1100, three bytes long.
std::size_t columnsAt(const std::string& text, std::size_t offset) {
    const std::size_t length = lengthAt(text, offset);
    const auto byte = [&](std::size_t i) {
        return i < length ? static_cast<unsigned char>(text[offset + i]) : 0U;
    };
    const std::uint32_t lead = byte(0);
    if (lead >= 0xF0U) return 2;
    if (lead < 0xE1U) return 1;
    const std::uint32_t code = ((lead & 0x0FU) << 12U) | ((byte(1) & 0x3FU) << 6U) | (byte(2) & 0x3FU);
    const bool isWide = (code >= 0x1100U && code <= 0x115FU) || (code >= 0x2E80U && code <= 0xA4CFU) ||
                        (code >= 0xAC00U && code <= 0xD7A3U) || (code >= 0xF900U && code <= 0xFAFFU) ||
                        (code >= 0xFE30U && code <= 0xFE6FU) || (code >= 0xFF00U && code <= 0xFF60U);
    return isWide ? 2 : 1;
}

// The length in bytes of the longest beginning that fits.
std::size_t fitting(const std::string& text, std::size_t width) {
    std::size_t end = 0;
    std::size_t columns = 0;
    while (end < text.size()) {
        columns += columnsAt(text, end);
        if (columns > width && end > 0) return end;
        end += lengthAt(text, end);
    }
    return end;
}

// Where to cut a text if `end` bytes fit: at the last blank, "/" or "," of the last two thirds, else at
// `end`.
std::size_t cutBefore(const std::string& text, std::size_t end) {
    if (text[end] == ' ') return end;
    const auto blank = text.rfind(' ', end - 1);
    if (blank != std::string::npos && blank > end / 3) return blank;
    const auto mark = text.find_last_of("/,", end - 1);
    return mark != std::string::npos && mark > end / 3 ? mark + 1 : end;
}

// How many letters must be inserted, removed or replaced, or neighbours swapped.
std::size_t changesBetween(const std::string& one, const std::string& other) {
    std::vector<std::vector<std::size_t>> rows(one.size() + 1, std::vector<std::size_t>(other.size() + 1));
    for (std::size_t i = 0; i <= one.size(); ++i) {
        for (std::size_t k = 0; k <= other.size(); ++k) {
            if (i == 0 || k == 0) {
                rows[i][k] = i + k;
                continue;
            }
            const std::size_t replaced = rows[i - 1][k - 1] + (one[i - 1] == other[k - 1] ? 0 : 1);
            rows[i][k] = std::min({replaced, rows[i - 1][k] + 1, rows[i][k - 1] + 1});
            const bool isSwapped = i > 1 && k > 1 && one[i - 1] == other[k - 2] && one[i - 2] == other[k - 1];
            if (isSwapped) rows[i][k] = std::min(rows[i][k], rows[i - 2][k - 2] + 1);
        }
    }
    return rows.back().back();
}

}  // namespace

std::size_t columnsOf(const std::string& text) {
    std::size_t columns = 0;
    for (std::size_t offset = 0; offset < text.size(); offset += lengthAt(text, offset))
        columns += columnsAt(text, offset);
    return columns;
}

std::string printable(std::string text) {
    std::replace_if(
        text.begin(), text.end(),
        [](char c) {
            return static_cast<unsigned char>(c) < 0x20U || static_cast<unsigned char>(c) == 0x7FU;
        },
        ' ');
    return text;
}

std::vector<std::string> wrapped(const std::string& text, std::size_t width) {
    std::vector<std::string> lines;
    std::string rest = text;
    for (std::size_t end = fitting(rest, width); end < rest.size(); end = fitting(rest, width)) {
        const std::size_t cut = cutBefore(rest, end);
        lines.push_back(rest.substr(0, cut));
        rest.erase(0, std::min(rest.find_first_not_of(' ', cut), rest.size()));
    }
    if (!rest.empty() || lines.empty()) lines.push_back(rest);
    return lines;
}

std::string listed(const std::vector<std::string>& texts) {
    std::string list;
    for (std::size_t i = 0; i < texts.size(); ++i) {
        if (i > 0) list += i + 1 == texts.size() ? " and " : ", ";
        list += texts[i];
    }
    return list;
}

std::string nearest(const std::string& text, const std::vector<std::string>& candidates) {
    std::string best;
    std::size_t least = 0;
    for (const std::string& candidate : candidates) {
        const std::size_t difference = changesBetween(text, candidate);
        if (difference > std::max(text.size(), candidate.size()) / 3 + 1 || difference >= candidate.size())
            continue;
        if (!best.empty() && difference >= least) continue;
        best = candidate;
        least = difference;
    }
    return best;
}

std::string shortVersion(std::string version) {
    while (std::count(version.begin(), version.end(), '.') > 1 && version.ends_with(".0"))
        version.resize(version.size() - 2);
    return version;
}

}  // namespace qvp
