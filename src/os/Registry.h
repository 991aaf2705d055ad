#pragma once

#include <string>
#include <vector>

/// The registry of Windows. Text is UTF-8; a key or a name ends at its first zero byte. Each function returns
/// the system's error code, 0 on success. Where there is no registry, all fail.
namespace os {

enum class Hive { kCurrentUser, kMachine };

/// Makes the key and its parents if need be.
long writeRegistryText(Hive hive, const std::string& key, const std::string& name, const std::string& value);

/// Reads a text of any length without the zeros at its end; `value` is left alone on failure.
long readRegistryText(Hive hive, const std::string& key, const std::string& name, std::string& value);

/// The keys right below one, in the system's order; `names` is left alone on failure.
long listRegistryKeys(Hive hive, const std::string& key, std::vector<std::string>& names);

/// Refused when there are keys below it.
long deleteRegistryKey(Hive hive, const std::string& key);

}  // namespace os
