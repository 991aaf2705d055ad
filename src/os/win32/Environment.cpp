#include "os/Environment.h"

#include "os/win32/Windows.h"

#include <cstdlib>
#include <mutex>

namespace os {
namespace {

std::wstring wideArgument(const std::string& text) { return base::widen(text.c_str()); }

}  // namespace

const char kPathListSeparator = ';';

std::optional<std::string> readVariable(const std::string& name) {
    const std::wstring wideName = wideArgument(name);
    const std::lock_guard guard(kEnvironmentLock);
    const auto value = win32::variable(wideName.c_str());
    if (!value) return std::nullopt;
    return base::narrow(*value);
}

bool writeVariable(const std::string& name, const std::string& value) {
    const std::wstring wideName = wideArgument(name);
    const std::wstring wideValue = wideArgument(value);
    const std::lock_guard guard(kEnvironmentLock);
    const bool inRuntime = _wputenv_s(wideName.c_str(), wideValue.c_str()) == 0;
    const bool inSystem = SetEnvironmentVariableW(wideName.c_str(), wideValue.c_str()) != 0;
    return inRuntime && inSystem;
}

void removeVariable(const std::string& name) {
    const std::wstring wideName = wideArgument(name);
    const std::lock_guard guard(kEnvironmentLock);
    _wputenv_s(wideName.c_str(), L"");
    SetEnvironmentVariableW(wideName.c_str(), nullptr);
}

}  // namespace os
