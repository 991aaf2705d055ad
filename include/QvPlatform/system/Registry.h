#pragma once

#include <QvPlatform/core/Export.h>

#include <string>
#include <vector>

/// Text values in the Windows registry.
///
///     long error = 0;
///     const std::string folder = QvPlatform::getRegistryValue(R"(Software\Maker\Tool)", "Folder", &error);
///     if (error != 0) ...
///
/// `currentUser` selects the hive: the current user's if true, else the machine's, which only an
/// administrator may change. A key is a path within the hive, with backslashes; an empty value name is the
/// key's default value. Text is UTF-8; a 32-bit and a 64-bit program see different keys. `error` may be null;
/// otherwise each call stores the system's error code there, 0 on success. Nothing is logged. On Linux, which
/// has no registry, each call fails with ENOSYS. Any thread may call these functions.
namespace QvPlatform {

/// Stores a text; creates the key and its parents if missing. The stored length is that of `value`, without a
/// terminating zero. False on failure.
QV_API bool setRegistryValue(bool currentUser, const std::string& key, const std::string& valueName,
                             const std::string& value, long* error);

/// Returns the stored text, of any length, without trailing zeros; variables such as "%PATH%" are not
/// expanded. "" on failure, with `error` 2 for a missing key or value and 1630 for a value that is not text.
QV_API std::string getRegistryValue(bool currentUser, const std::string& key, const std::string& valueName,
                                    long* error);

/// The same for the current user; if that fails, for the machine, and the error is the machine's.
QV_API std::string getRegistryValue(const std::string& key, const std::string& valueName, long* error);

/// The names of a key's immediate subkeys, in the system's order. Also empty on failure.
QV_API std::vector<std::string> getSubKeys(bool currentUser, const std::string& key, long* error);

/// Deletes a key with its values. False on failure, as for a key that has subkeys.
QV_API bool deleteRegistryKey(bool currentUser, const std::string& key, long* error);

}  // namespace QvPlatform
