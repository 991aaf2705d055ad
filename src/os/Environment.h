#pragma once

#include <optional>
#include <string>

/// The process environment. Text is UTF-8 and ends at its first zero byte. The caller keeps calls apart.
namespace os {

/// The whole value, or nothing when there is no such variable.
std::optional<std::string> readVariable(const std::string& name);
/// Sets the variable in every table that the platform keeps; false when one of them refused.
bool writeVariable(const std::string& name, const std::string& value);
/// Takes the variable out of every table.
void removeVariable(const std::string& name);

extern const char kPathListSeparator;

}  // namespace os
