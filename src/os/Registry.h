#pragma once

#include <string>
#include <vector>

/// The registry of Windows. Text is UTF-8; a key or a name ends at its first zero byte. Each function returns
/// the system's error code, 0 on success. Where there is no registry, all fail.
namespace os {

enum class Hive { currentUser, machine };

/// Creates the key and its parents if missing.
long writeRegistryText(Hive hive, const std::string& key, const std::string& name, const std::string& value);

/// Reads a text of any length without trailing zeros; on failure `value` is unchanged.
long readRegistryText(Hive hive, const std::string& key, const std::string& name, std::string& value);

/// The immediate subkeys, in the system's order; on failure `names` is unchanged.
long listRegistryKeys(Hive hive, const std::string& key, std::vector<std::string>& names);

/// Fails if the key has subkeys.
long deleteRegistryKey(Hive hive, const std::string& key);

}  // namespace os
