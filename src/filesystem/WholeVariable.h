#pragma once

#include <optional>
#include <string>

/// The environment without the limits of its public face: values of any length, and a missing variable
/// told from an empty one. The calls exclude each other and those of the public functions.
namespace QvPlatform::detail {

std::optional<std::string> readWholeVariable(const std::string& name);

/// Sets the variable, or removes it if there is no value.
void restoreVariable(const std::string& name, const std::optional<std::string>& value);

}  // namespace QvPlatform::detail
