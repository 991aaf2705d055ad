#pragma once

#include "os/ProcessLock.h"

#include <optional>
#include <string>

/// The process environment, the library's only access to it. Text is UTF-8 and ends at its first zero byte.
/// Any thread: calls exclude each other.
namespace os {

/// Held by whatever touches the environment in another way: the C library's conversions of local time read
/// TZ, and a child gets a copy of the table.
inline constexpr ProcessLock kEnvironmentLock{LockRank::Environment};

/// The whole value, or nothing when there is no such variable.
std::optional<std::string> readVariable(const std::string& name);
/// Sets the variable in every table that the platform keeps; false when one of them refused.
bool writeVariable(const std::string& name, const std::string& value);
/// Takes the variable out of every table.
void removeVariable(const std::string& name);

extern const char kPathListSeparator;

}  // namespace os
