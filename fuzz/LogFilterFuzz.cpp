// The filter accepts and matches the same as the standard library's usual matcher. Its limits keep both
// within the stack of a thread.

#include "diagnostics/log/LogFilter.h"
#include "diagnostics/log/LogFilterSize.h"

#include "Require.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <regex>
#include <string>

namespace {

std::optional<bool> verdict(const std::string& expression, const char* text) {
    try {
        return Qv::detail::matchesFilter(expression, text);
    } catch (const std::regex_error&) {
        return std::nullopt;
    }
}

bool isLargerThan(std::size_t limit, const std::string& expression) {
    try {
        return Qv::detail::sizeOfFilter(expression).total > limit;
    } catch (const std::regex_error&) {
        return true;
    }
}

std::optional<bool> referenceVerdict(const std::string& expression, const char* text) {
    try {
        return std::regex_search(text, std::regex(expression));
    } catch (const std::regex_error&) {
        return std::nullopt;
    }
}

// Its time is exponential in nested loops.
bool isSimple(const std::string& expression) {
    const std::string loops = "*+?{";
    std::size_t count = 0;
    bool isNested = false;
    for (std::size_t i = 1; i < expression.size(); ++i) {
        if (loops.find(expression[i]) == std::string::npos) continue;
        ++count;
        isNested = isNested || std::string(")*+}?").find(expression[i - 1]) != std::string::npos;
    }
    return (count <= 1 || (count <= 3 && !isNested)) && !isLargerThan(100, expression);
}

// The documented cases in which the filter's own time is.
bool mayTakeLong(const std::string& expression) {
    const bool hasReference = std::adjacent_find(expression.begin(), expression.end(), [](char a, char b) {
                                  return a == '\\' && b >= '1' && b <= '9';
                              }) != expression.end();
    return !isSimple(expression) && (hasReference || expression.find("(?=") != std::string::npos ||
                                     expression.find("(?!") != std::string::npos);
}

}  // namespace

// An expression, a line end, and the text.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string input(data, data + size);
    const auto middle = std::min(input.find('\n'), input.size());
    const std::string expression = input.substr(0, middle);
    const std::string text = input.substr(std::min(middle + 1, input.size()));
    if (mayTakeLong(expression)) return 0;
    const std::optional<bool> result = verdict(expression, text.c_str());
    if (isLargerThan(Qv::detail::kMaxFilterSize, expression)) fuzz::require(!result);
    if (isSimple(expression)) fuzz::require(result == referenceVerdict(expression, text.c_str()));
    return 0;
}
