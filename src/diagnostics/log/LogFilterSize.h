#pragma once

#include <cstddef>
#include <string_view>

namespace Qv::detail {

/// The limits that `LogSetRegExFilter` documents.
inline constexpr std::size_t kMaxFilterSize = 1000;
inline constexpr std::size_t kMaxFilterNesting = 100;
inline constexpr std::size_t kMaxFilterSteps = 1000;

/// How much of an expression there is to match, in its own characters.
struct FilterSize {
    std::size_t total = 0;        ///< with each "{n,m}" written out
    std::size_t longestLoop = 0;  ///< of what is repeated without an upper bound
};

/// Measures an ECMAScript expression, which need not be valid. Throws `std::regex_error` when it exceeds the
/// limit of the size or of the nesting.
FilterSize sizeOfFilter(std::string_view expression);

}  // namespace Qv::detail
