#pragma once

#include <QvPlatform/core/Export.h>

#include <string>

/// The process's environment. These functions and all other uses that the library makes of it exclude each
/// other; your own `getenv` or `setenv` on another thread is not covered. Any thread. Names ignore letter
/// case on Windows only.
namespace QvPlatform {

/// The variable's value, or "" when it is missing, empty, or longer than 4095 bytes.
QV_API std::string getEnv(const std::string& name);

/// Sets the variable for this process and its children: on Windows in the C runtime's table and in the
/// system's environment, and true only if both took it. False for an empty name or one that holds "=".
/// An embedded zero byte ends the name or the value.
QV_API bool putEnv(const std::string& name, const std::string& value);

/// The separator of a path list, ";" on Windows and ":" on Linux; always the same string object.
QV_API const std::string& getPathSeparator();

}  // namespace QvPlatform
