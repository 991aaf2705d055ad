#include <QvPlatform/core/StringUtils.h>

#include "base/AsciiCase.h"
#include "base/Wildcard.h"
#include "core/ByteMasks.h"

#include <algorithm>
#include <bit>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <string_view>
#include <vector>

namespace QvSim::StringUtils {
namespace {

constexpr std::size_t kFormatCapacity = 256;

// Has no branch per piece, because the processor could not predict it.
std::size_t countPieces(std::string_view text, const detail::ByteSet& delimiters) {
    std::size_t count = 0;
    std::uint64_t isAfterDelimiter = 1;
    detail::forEachBlock(text, delimiters, [&](std::uint64_t mask, std::size_t) {
        count += static_cast<std::size_t>(std::popcount(~mask & (mask << 1U | isAfterDelimiter)));
        isAfterDelimiter = mask >> 63U;
    });
    return count;
}

// Calls `use(offset, size)` for each non-empty piece between delimiters.
template <typename Use>
void forEachPiece(std::string_view text, const detail::ByteSet& delimiters, Use use) {
    std::size_t start = 0;
    detail::forEachBlock(text, delimiters, [&](std::uint64_t mask, std::size_t offset) {
        detail::forEachBit(mask, [&](std::size_t bit) {
            const std::size_t stop = offset + bit;
            if (stop != start) use(start, stop - start);
            start = stop + 1;
        });
    });
}

// The size of the text from `start` on, with each `from` replaced by `to`.
std::size_t sizeReplaced(std::string_view text, std::size_t start, std::string_view from,
                         std::string_view to) {
    std::size_t hits = 0;
    detail::forEachHit(text, from, start, [&](std::size_t) { ++hits; });
    return text.size() - start - hits * from.size() + hits * to.size();
}

bool isElementOf(const Qv::QvArray<std::string>& array, const std::string& text) {
    const std::less<> before;
    return !before(&text, array.data()) && before(&text, array.data() + array.size());
}

// Reserves the room at once, but at least doubles the capacity, so that many small appends stay cheap.
template <typename Array>
void makeRoom(Array& array, std::size_t added) {
    const std::size_t wanted = array.size() + added;
    if (wanted > array.capacity()) array.reserve(std::max(wanted, 2 * array.capacity()));
}

std::string join(const Qv::QvArray<std::string>& pieces, std::string_view separator) {
    std::string joined;
    for (const std::string& piece : pieces) {
        if (&piece != &pieces.front()) joined += separator;
        joined += piece;
    }
    return joined;
}

bool hasAt(std::string_view text, std::string_view part, std::size_t place, bool caseSensitive) {
    const std::string_view there = text.substr(place, part.size());
    return caseSensitive ? there == part : base::equalFolded(there, part);
}

void appendField(std::string& clock, unsigned int value) {
    if (!clock.empty()) clock += ':';
    if (value < 10) clock += '0';
    clock += std::to_string(value);
}

}  // namespace

std::string format(const char* format, ...) {
    if (!format) return {};
    char buffer[kFormatCapacity] = "";
    va_list args;
    va_start(args, format);
    const int length = std::vsnprintf(buffer, sizeof buffer, format, args);
    va_end(args);
    return length < 0 ? std::string() : std::string(buffer);
}

std::size_t split(Qv::QvArray<std::string>& out, const std::string& input, const std::string& delimiters,
                  bool ignored, bool alsoBlank) {
    // Growing would move the text that the tokens point to.
    if (isElementOf(out, input)) return split(out, std::string(input), delimiters, ignored, alsoBlank);
    const detail::ByteSet set((delimiters.empty() ? "\r\n" : delimiters) + (alsoBlank ? " " : ""));
    makeRoom(out, countPieces(input, set));
    forEachPiece(input, set,
                 [&](std::size_t start, std::size_t size) { out.emplace_back(input.data() + start, size); });
    return out.size();
}

bool match(const char* pattern, const char* text, bool caseSensitive) {
    return base::matchesWildcard(pattern ? pattern : "", text ? text : "", caseSensitive);
}

std::string toLowerCase(const std::string& text) { return base::foldedCase(text); }

bool startsWith(const std::string& text, const std::string& prefix, bool caseSensitive) {
    return prefix.size() <= text.size() && hasAt(text, prefix, 0, caseSensitive);
}

bool endsWith(const std::string& text, const std::string& suffix, bool caseSensitive) {
    return suffix.size() <= text.size() && hasAt(text, suffix, text.size() - suffix.size(), caseSensitive);
}

std::string trim(const std::string& text) {
    constexpr const char* kBlanks = " \t";
    const auto first = text.find_first_not_of(kBlanks);
    return first == std::string::npos ? std::string()
                                      : text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

std::string tryFormatToXMLString(const std::string& text) {
    struct Pass {
        const char* special;
        bool alsoBlank;
        const char* entity;
    };
    constexpr Pass kPasses[] = {
        {" ", false, "&nbsp;"}, {"<", true, "&lt;"}, {">", true, "&gt;"}, {"\"", true, "&quot;"}};
    std::string escaped = text;
    for (const Pass& pass : kPasses) {
        Qv::QvArray<std::string> pieces;
        split(pieces, escaped, pass.special, false, pass.alsoBlank);
        escaped = join(pieces, pass.entity);
    }
    return escaped;
}

std::string replace(const std::string& text, const std::string& from, const std::string& to) {
    if (from.empty()) return text;
    std::string result;
    std::size_t start = 0;
    detail::forEachHit(text, from, 0, [&](std::size_t hit) {
        // If this is the last occurrence. Few of them fit in the room of the first try.
        const std::size_t size = result.size() + (text.size() - start) - from.size() + to.size();
        if (size > result.capacity())
            result.reserve(start == 0 ? size + size / 16
                                      : result.size() + sizeReplaced(text, start, from, to));
        result.append(text, start, hit - start).append(to);
        start = hit + from.size();
    });
    if (start == 0) return text;
    result.append(text, start);  // returned by itself, because returning what `append` returns would copy it
    return result;
}

std::string timeToString(unsigned int seconds, bool showHours, bool limitTwoDigits) {
    const auto limited = [&](unsigned int value) { return limitTwoDigits ? value % 100 : value; };
    std::string clock;
    if (showHours) {
        appendField(clock, limited(seconds / 3600));
        appendField(clock, seconds % 3600 / 60);
    } else {
        appendField(clock, limited(seconds / 60));
    }
    appendField(clock, seconds % 60);
    return clock;
}

}  // namespace QvSim::StringUtils
