#pragma once

#include <string>
#include <typeinfo>
#include <vector>

namespace qvp {

/// Installs a log handler that writes nothing. As with the library's own handler, an error throws and a fatal
/// message ends the process.
void silenceLog();

/// The class name as written in the source.
std::string classNameOf(const std::type_info& type);

/// "std::runtime_error: text" for the exception being handled.
std::string currentExceptionText();

/// The code that child processes run.
[[noreturn]] void inspectInChild(const std::string& file);
/// The arguments are `kWithDefaultDirectory` or `kWithoutDefaultDirectory`, the file, and the directories.
[[noreturn]] void tryInChild(const std::vector<std::string>& arguments);

inline constexpr const char* kInspectArgument = "--child-inspect";
inline constexpr const char* kTryArgument = "--child-try";
inline constexpr const char* kWithDefaultDirectory = "with-default";
inline constexpr const char* kWithoutDefaultDirectory = "without-default";

}  // namespace qvp
