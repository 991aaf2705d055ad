#include <QvPlatform/filesystem/Environment.h>

#include "filesystem/WholeVariable.h"
#include "os/Environment.h"

#include <mutex>

namespace QvPlatform {
namespace {

constexpr std::size_t kLongestValue = 4095;

// Never destroyed: static destructors read the environment too.
std::mutex& environmentLock() {
    static auto& lock = *new std::mutex;
    return lock;
}

}  // namespace

std::optional<std::string> detail::readWholeVariable(const std::string& name) {
    const std::lock_guard guard(environmentLock());
    return os::readVariable(name);
}

void detail::restoreVariable(const std::string& name, const std::optional<std::string>& value) {
    const std::lock_guard guard(environmentLock());
    if (value)
        os::writeVariable(name, *value);
    else
        os::removeVariable(name);
}

std::string getEnv(const std::string& name) {
    std::string value = detail::readWholeVariable(name).value_or(std::string());
    return value.size() <= kLongestValue ? value : std::string();
}

bool putEnv(const std::string& name, const std::string& value) {
    const std::string variable = name.substr(0, name.find('\0'));
    if (variable.empty() || variable.find('=') != std::string::npos) return false;
    const std::lock_guard guard(environmentLock());
    return os::writeVariable(variable, value);
}

const std::string& getPathSeparator() {
    static const auto& separator = *new std::string(1, os::kPathListSeparator);
    return separator;
}

}  // namespace QvPlatform
