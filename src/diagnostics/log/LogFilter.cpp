// The standard library has two matchers. The depth-first one recurses for each character of the text. The
// breadth-first one recurses by the expression only, and gives the same verdict, but knows no back reference.
// The limits below keep both of them, and the compiler of expressions, within 384 KiB of stack.

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

// Nothing when the expression has a back reference.
std::optional<std::regex> compileBreadthFirst(const std::string& expression) {
    try {
        return std::regex(expression, kBreadthFirst);
    } catch (const std::regex_error& error) {
        if (error.code() != std::regex_constants::error_complexity) throw;
        return std::nullopt;
    }
}

// A search tries each beginning, which makes it quadratic in the text; one match of an expression that skips
// the text before is linear. A lookahead would see another beginning of the text then.
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
