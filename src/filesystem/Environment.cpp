#include <QvPlatform/filesystem/Environment.h>

#include "filesystem/WholeVariable.h"
#include "os/Environment.h"

namespace QvPlatform {
namespace {

constexpr std::size_t kLongestValue = 4095;

// Created when the library is loaded, so that no forked process finds it half initialized. Never destroyed.
const std::string& pathSeparator = *new std::string(1, os::kPathListSeparator);

}  // namespace

std::optional<std::string> detail::readWholeVariable(const std::string& name) {
    return os::readVariable(name);
}

void detail::restoreVariable(const std::string& name, const std::optional<std::string>& value) {
    if (value)
        os::writeVariable(name, *value);
    else
        os::removeVariable(name);
}

std::string getEnv(const std::string& name) {
    std::string value = os::readVariable(name).value_or(std::string());
    return value.size() <= kLongestValue ? value : std::string();
}

bool putEnv(const std::string& name, const std::string& value) {
    const std::string variable = name.substr(0, name.find('\0'));
    if (variable.empty() || variable.find('=') != std::string::npos) return false;
    return os::writeVariable(variable, value);
}

const std::string& getPathSeparator() { return pathSeparator; }

}  // namespace QvPlatform
