#pragma once

#include <QvPlatform/core/Export.h>

#include <string>

/// The process's environment. Any thread: the library serializes all its own access, but not your `getenv` or
/// `setenv` on another thread. Names ignore case on Windows only.
namespace QvPlatform {

/// The variable's value, or "" if it is missing, empty, or longer than 4095 bytes.
QV_API std::string getEnv(const std::string& name);

/// Sets the variable for this process and its children. On Windows it sets both the C runtime's table and the
/// system's environment, and returns true only if both succeed. False if the name is empty or contains "=".
/// An embedded zero byte ends the name or the value.
QV_API bool putEnv(const std::string& name, const std::string& value);

/// The separator of a path list, ";" on Windows and ":" on Linux; always the same string object.
QV_API const std::string& getPathSeparator();

}  // namespace QvPlatform
