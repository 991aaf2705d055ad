#pragma once

#include <optional>
#include <string>

/// The environment without the limits of the public functions: values of any length, and missing variables
/// are distinguished from empty ones. Calls of these and of the public functions run one at a time.
namespace QvPlatform::detail {

std::optional<std::string> readWholeVariable(const std::string& name);

/// Sets the variable, or removes it if there is no value.
void restoreVariable(const std::string& name, const std::optional<std::string>& value);

}  // namespace QvPlatform::detail
