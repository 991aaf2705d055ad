#pragma once

#include <QvPlatform/core/Export.h>

#include <string>
#include <vector>

/// Texts in the registry of Windows.
///
///     long error = 0;
///     const std::string folder = QvPlatform::getRegistryValue(R"(Software\Maker\Tool)", "Folder", &error);
///     if (error != 0) ...
///
/// `currentUser` chooses the hive: the current user's, else the machine's, which only an administrator may
/// change. A key is a path below it with backslashes; an empty value name is the key's default value. Text is
/// UTF-8; a 32-bit and a 64-bit program see different keys. `error` may be null; otherwise each call stores
/// the system's error code there, 0 on success. Nothing is logged. On Linux, which has no registry, each call
/// fails with ENOSYS. Any thread may call these functions.
namespace QvPlatform {

/// Stores a text, making the key and its parents if need be. It ends where `value` ends: no zero is counted.
/// False on failure.
QV_API bool setRegistryValue(bool currentUser, const std::string& key, const std::string& valueName,
                             const std::string& value, long* error);

/// The text as it was stored, of any length, without zeros at its end; variables such as "%PATH%" in it are
/// not replaced. "" on failure: 2 is a missing key or value, 1630 a value that is no text.
QV_API std::string getRegistryValue(bool currentUser, const std::string& key, const std::string& valueName,
                                    long* error);

/// The same of the current user, or of the machine when that fails; then the error is the machine's.
QV_API std::string getRegistryValue(const std::string& key, const std::string& valueName, long* error);

/// The names of the keys right below one, in the system's order. Empty on failure too.
QV_API std::vector<std::string> getSubKeys(bool currentUser, const std::string& key, long* error);

/// Deletes a key with its values. False on failure, as for a key that has keys below it.
QV_API bool deleteRegistryKey(bool currentUser, const std::string& key, long* error);

}  // namespace QvPlatform
