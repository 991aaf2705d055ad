#include <QvPlatform/system/Registry.h>

#include "os/Registry.h"

namespace QvPlatform {
namespace {

os::Hive hiveOf(bool currentUser) { return currentUser ? os::Hive::currentUser : os::Hive::machine; }

bool report(long code, long* error) {
    if (error) *error = code;
    return code == 0;
}

}  // namespace

bool setRegistryValue(bool currentUser, const std::string& key, const std::string& valueName,
                      const std::string& value, long* error) {
    return report(os::writeRegistryText(hiveOf(currentUser), key, valueName, value), error);
}

std::string getRegistryValue(bool currentUser, const std::string& key, const std::string& valueName,
                             long* error) {
    std::string value;
    report(os::readRegistryText(hiveOf(currentUser), key, valueName, value), error);
    return value;
}

std::string getRegistryValue(const std::string& key, const std::string& valueName, long* error) {
    long userError = 0;
    std::string value = getRegistryValue(true, key, valueName, &userError);
    if (!report(userError, error)) value = getRegistryValue(false, key, valueName, error);
    return value;
}

std::vector<std::string> getSubKeys(bool currentUser, const std::string& key, long* error) {
    std::vector<std::string> names;
    report(os::listRegistryKeys(hiveOf(currentUser), key, names), error);
    return names;
}

bool deleteRegistryKey(bool currentUser, const std::string& key, long* error) {
    return report(os::deleteRegistryKey(hiveOf(currentUser), key), error);
}

}  // namespace QvPlatform
