#include "diagnostics/LogFilter.h"

#include "os/LargeStack.h"

#include <cstring>
#include <exception>
#include <regex>

namespace Qv::detail {
namespace {

// The standard library's matcher recurses for every character, by up to a KiB each.
constexpr std::size_t kSafeLength = 256;

bool search(const std::string& expression, const char* text) {
    return std::regex_search(text, std::regex(expression));
}

}  // namespace

bool matchesFilter(const std::string& expression, const char* text) {
    if (std::strlen(text) + expression.size() <= kSafeLength) return search(expression, text);
    bool matches = false;
    std::exception_ptr failure;
    const auto work = [&] {
        try {
            matches = search(expression, text);
        } catch (...) {
            failure = std::current_exception();
        }
    };
    if (!os::runOnLargeStack(work)) work();
    if (failure) std::rethrow_exception(failure);
    return matches;
}

}  // namespace Qv::detail
