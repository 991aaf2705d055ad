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

// Its time is exponential in the number of loops.
bool isSimple(const std::string& expression) {
    const auto loops = std::count_if(expression.begin(), expression.end(),
                                     [](char c) { return c == '*' || c == '+' || c == '{' || c == '?'; });
    return loops <= 2 && !isLargerThan(100, expression);
}

}  // namespace

// An expression, a line end, and the text.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string input(data, data + size);
    const auto middle = std::min(input.find('\n'), input.size());
    const std::string expression = input.substr(0, middle);
    const std::string text = input.substr(std::min(middle + 1, input.size()));
    const std::optional<bool> result = verdict(expression, text.c_str());
    if (isLargerThan(Qv::detail::kMaxFilterSize, expression)) fuzz::require(!result);
    if (isSimple(expression)) fuzz::require(result == referenceVerdict(expression, text.c_str()));
    return 0;
}
