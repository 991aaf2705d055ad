#pragma once

#include <cstddef>
#include <string_view>

namespace Qv::detail {

/// The limits that `LogSetRegExFilter` documents.
inline constexpr std::size_t kMaxFilterSize = 1000;
inline constexpr std::size_t kMaxFilterNesting = 100;
inline constexpr std::size_t kMaxFilterSteps = 1000;

/// The size of an expression, in characters of the expression.
struct FilterSize {
    std::size_t total = 0;        ///< with each "{n,m}" expanded
    std::size_t longestLoop = 0;  ///< the longest part that is repeated without an upper bound
};

/// Measures an ECMAScript expression, which need not be valid. Throws `std::regex_error` if it exceeds
/// `kMaxFilterSize` or `kMaxFilterNesting`.
FilterSize sizeOfFilter(std::string_view expression);

}  // namespace Qv::detail
