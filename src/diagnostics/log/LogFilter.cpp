// The standard library has two regex matchers. The depth-first one recurses for each character of the text.
// The breadth-first one recurses only as deep as the expression and gives the same verdict, but does not
// support back references. So it is used first, and the depth-first one only for an expression with a back
// reference.
//
// The size is checked before anything is compiled. The limits in LogFilterSize.h keep both matchers and the
// compiler of expressions within 384 KiB of stack; beyond them `std::regex_error` is thrown. Nothing is kept
// between calls.

#include "diagnostics/log/LogFilter.h"

#include "diagnostics/log/LogFilterSize.h"

#include <cstring>
#include <optional>
#include <regex>

namespace Qv::detail {
namespace {

using Flags = std::regex_constants::syntax_option_type;

constexpr Flags kBreadthFirst =
    std::regex_constants::ECMAScript | std::regex_constants::nosubs | std::regex_constants::__polynomial;

bool hasLookahead(const std::string& expression) {
    return expression.find("(?=") != std::string::npos || expression.find("(?!") != std::string::npos;
}

// Returns nothing if the expression has a back reference.
std::optional<std::regex> compileBreadthFirst(const std::string& expression) {
    try {
        return std::regex(expression, kBreadthFirst);
    } catch (const std::regex_error& error) {
        if (error.code() != std::regex_constants::error_complexity) throw;
        return std::nullopt;
    }
}

// A search tries each start position, which is quadratic in the text. Matching once an expression that skips
// the text before is linear. A lookahead would then see another beginning of the text, so an expression with
// one is searched.
bool searchBreadthFirst(const std::regex& compiled, const std::string& expression, const char* text) {
    if (hasLookahead(expression)) return std::regex_search(text, compiled);
    const std::regex anywhere("[^]*?(?:" + expression + ")", kBreadthFirst);
    return std::regex_search(text, anywhere, std::regex_constants::match_continuous);
}

bool searchDepthFirst(const std::string& expression, const FilterSize& size, const char* text) {
    const std::regex compiled(expression);
    if (size.total + size.longestLoop * std::strlen(text) > kMaxFilterSteps)
        throw std::regex_error(std::regex_constants::error_stack);
    return std::regex_search(text, compiled);
}

}  // namespace

bool matchesFilter(const std::string& expression, const char* text) {
    const FilterSize size = sizeOfFilter(expression);
    if (const auto compiled = compileBreadthFirst(expression))
        return searchBreadthFirst(*compiled, expression, text);
    return searchDepthFirst(expression, size, text);
}

}  // namespace Qv::detail
