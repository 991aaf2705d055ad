#pragma once

#include <string>

namespace Qv::detail {

/// True if the ECMAScript expression matches anywhere in `text`. Throws `std::regex_error` if the expression
/// is invalid.
bool matchesFilter(const std::string& expression, const char* text);

}  // namespace Qv::detail
