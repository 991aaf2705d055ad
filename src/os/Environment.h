#pragma once

#include "os/ProcessLock.h"

#include <optional>
#include <string>

/// The process environment, the library's only access to it. Text is UTF-8 and ends at its first zero byte.
/// Any thread: calls run one at a time.
namespace os {

/// Held by code that accesses the environment in other ways: the C library's conversions of local time read
/// TZ, and a child gets a copy of the table.
inline constexpr ProcessLock kEnvironmentLock{LockRank::environment};

/// The whole value, or nothing if the variable does not exist.
std::optional<std::string> readVariable(const std::string& name);
/// Sets the variable in every table that the platform keeps; false if one of them fails.
bool writeVariable(const std::string& name, const std::string& value);
/// Removes the variable from every table.
void removeVariable(const std::string& name);

extern const char kPathListSeparator;

}  // namespace os
