#include <QvPlatform/core/StringUtils.h>

#include "base/AsciiCase.h"
#include "base/Wildcard.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <functional>
#include <string_view>

namespace QvSim::StringUtils {
namespace {

constexpr std::size_t kFormatCapacity = 256;

class ByteSet {
public:
    explicit ByteSet(std::string_view bytes) {
        for (const char byte : bytes) contains_[static_cast<unsigned char>(byte)] = true;
    }
    bool contains(char byte) const { return contains_[static_cast<unsigned char>(byte)]; }

private:
    bool contains_[256] = {};
};

// Calls `use` with each piece of the text between delimiters.
template <typename Use>
void forEachToken(std::string_view text, const ByteSet& delimiters, Use use) {
    const char* const end = text.data() + text.size();
    for (const char* start = text.data(); start != end;) {
        if (delimiters.contains(*start)) {
            ++start;
            continue;
        }
        const char* const tokenEnd =
            std::find_if(start, end, [&](char byte) { return delimiters.contains(byte); });
        use(start, tokenEnd);
        start = tokenEnd;
    }
}

// Has no branch per token, because the processor could not predict it.
std::size_t countTokens(std::string_view text, const ByteSet& delimiters) {
    std::size_t count = 0;
    bool isAfterDelimiter = true;
    for (const char byte : text) {
        const bool isDelimiter = delimiters.contains(byte);
        count += static_cast<std::size_t>(isAfterDelimiter & !isDelimiter);
        isAfterDelimiter = isDelimiter;
    }
    return count;
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
    const ByteSet set((delimiters.empty() ? "\r\n" : delimiters) + (alsoBlank ? " " : ""));
    makeRoom(out, countTokens(input, set));
    forEachToken(input, set, [&](const char* start, const char* end) { out.emplace_back(start, end); });
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
    for (auto hit = text.find(from); hit != std::string::npos; hit = text.find(from, start)) {
        if (start == 0) result.reserve(text.size());
        result.append(text, start, hit - start).append(to);
        start = hit + from.size();
    }
    return start == 0 ? text : result.append(text, start);
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
